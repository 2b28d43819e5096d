// Tables of cases in text files: paragraphs, each of them a test.
//
//   # A comment.
//   WORD := TEXT             a word of the file, {WORD} in its cells
//   WORD := TEXT | TEXT      for Kaspersky and for BitDefender-format bases
//
//   == HEADER                begins a paragraph
//   CELL | CELL | CELL       a row of it
//     CELL | CELL            the row goes on
//
// In a cell \n, \r, \t, \\ and \xHH are escapes, {} is nothing, {3*ab} is "ababab".
// {WORD x,y} is the word "WORD *" once for x and once for y. The words of cases/words.txt
// are everybody's.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;
using Words = std::map<std::string, std::string>;

// The words of a text with something between them, an empty last one left out; and back.
Strings wordsOf(const std::string& text, const std::string& between = " ");
std::string joined(const Strings& words, const std::string& between);

std::string replaced(std::string text, const std::string& what, const std::string& by);

std::string expand(const std::string& cell, const Words& words);

struct Paragraph {
  std::string header;
  std::vector<std::pair<std::string, std::string>> rows;  // FILE:LINE and text
};

// Does something with every row's cells; a row that fails is shown.
void eachRow(const Paragraph& paragraph, const Words& words,
             const std::function<void(const Strings&)>& action);

// Registers the tests of a file: of a paragraph "== NAME" the rows of a function, of
// any other an update.
void registerTable(const std::string& path);
void registerUpdates(const Paragraph& paragraph, const Words& words);
void registerTest(const std::string& suite, const std::string& name,
                  const std::function<testing::Test*()>& make);

// A function under test, which paragraphs "== NAME" are about: it gets a row's cells and
// gives the text that the last of them must be.
struct Function {
  using Body = std::function<std::string(const Strings&)>;
  Function(const std::string& name, const Body& body);
};
