#include "tests/tables.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/installation.h"

Strings wordsOf(const std::string& text, const std::string& between) {
  Strings words;
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + between.size()) {
    end = std::min(text.find(between, at), text.size());
    words.push_back(text.substr(at, end - at));
  }
  return words;
}

std::string joined(const Strings& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
    text.replace(at, what.size(), by);
  return text;
}

namespace {

std::string meaningOf(const std::string& word, const Words& words) {
  std::string text;
  if (const std::size_t star = word.find('*'); star != std::string::npos) {
    for (int times = std::stoi(word); times > 0; --times) text += word.substr(star + 1);
    return text;
  }
  const std::string name = word.substr(0, word.find(' '));
  const auto found = words.find(name == word ? word : name + " *");
  if (found == words.end()) throw std::runtime_error("no such word: " + word);
  if (name == word) return expand(found->second, words);
  for (const std::string& one : wordsOf(word.substr(name.size() + 1), ","))
    text += expand(replaced(found->second, "*", one), words);
  return text;
}

std::map<std::string, Function::Body>& functions() {
  static std::map<std::string, Function::Body> all;
  return all;
}

auto openFiles() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

class FunctionTest : public OnMachine {
 public:
  FunctionTest(const Paragraph& rows, const Words& texts) : paragraph(rows), words(texts) {}

 private:
  void TestBody() override {
    const auto function = functions().at(paragraph.header);
    const auto open = openFiles();
    eachRow(paragraph, words, [&](const Strings& c) { EXPECT_EQ(function(c), c.back()); });
    EXPECT_EQ(openFiles(), open) << "descriptors";
  }

  const Paragraph paragraph;
  const Words words;
};

}  // namespace

std::string expand(const std::string& cell, const Words& words) {
  static const std::map<char, char> escapes{{'n', '\n'}, {'r', '\r'}, {'t', '\t'}, {'\\', '\\'}};
  std::string text;
  for (std::size_t at = 0; at < cell.size(); ++at) {
    if (cell.compare(at, 2, "\\x") == 0) {
      text += static_cast<char>(std::stoi(cell.substr(at + 2, 2), nullptr, 16));
      at += 3;
    } else if (cell[at] == '\\') {
      text += escapes.at(cell.at(++at));
    } else if (cell[at] == '{') {
      const std::size_t end = cell.find('}', at);
      text += meaningOf(cell.substr(at + 1, end - at - 1), words);
      at = end;
    } else {
      text += cell[at];
    }
  }
  return text;
}

void eachRow(const Paragraph& paragraph, const Words& words,
             const std::function<void(const Strings&)>& action) {
  for (const auto& [place, text] : paragraph.rows) {
    SCOPED_TRACE(place + ": " + text);
    try {
      Strings cells = wordsOf(text, " | ");
      for (std::string& cell : cells) cell = expand(cell, words);
      action(cells);
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
  }
}

Function::Function(const std::string& name, const Body& body) { functions()[name] = body; }

void registerTest(const std::string& suite, const std::string& name,
                  const std::function<testing::Test*()>& make) {
  testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__, make);
}

void registerTable(const std::string& path) {
  std::vector<Paragraph> paragraphs;
  Words words{{"", ""}};  // {} is nothing
  for (const std::string& file : {SOURCE_DIR "/tests/cases/words.txt" + std::string(), path}) {
    std::ifstream stream(file);
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
      const std::string place = file + ":" + std::to_string(++number);
      const std::size_t defines = line.find(" := ");
      if (line.empty() || line[0] == '#') continue;
      if (line.compare(0, 3, "== ") == 0)
        paragraphs.push_back({line.substr(3), {}});
      else if (defines != std::string::npos)
        words[line.substr(0, defines)] = line.substr(defines + 4);
      else if (line[0] == ' ')
        paragraphs.back().rows.back().second += line.substr(line.find_first_not_of(' '));
      else
        paragraphs.back().rows.emplace_back(place, line);
    }
  }
  for (const Paragraph& paragraph : paragraphs)
    if (paragraph.header.find(' ') != std::string::npos)
      registerUpdates(paragraph, words);
    else
      registerTest("Function", paragraph.header,
                   [=] { return new FunctionTest(paragraph, words); });
}
