// Tables of cases in text files.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;
using Words = std::map<std::string, std::string>;

// The parts of a text between a character.
Strings wordsOf(const std::string& text, char between = ' ');

// A cell as its text. \n, \r, \t, \\ and \xHH are escapes, {} is nothing, {3*ab} is
// "ababab", {bar 1/2} the console's bar after one of two files of 1 KiB, {bars 2} that
// after each of them, and {WORD} one of the words. {WORD x,y} is the word "WORD *" once for x and once for y, or
// "WORD **" with both.
std::string expand(const std::string& cell, const Words& words);

// A row of a table of cases: the names of the columns -> its cells.
using Case = std::map<std::string, std::string>;

// Calls the test with every row of tests/cases/NAME.txt and shows the row when it
// fails. The first comment "# A | B" names the columns, lines "WORD := TEXT" are added to
// the words; a file without rows and a row with too many or too few cells are failures.
void eachCase(const std::string& name, const std::function<void(const Case&)>& test, Words words = {});

// A paragraph of a table of updates: "== HEADER", then rows "STEP | TEXT", of which
// one that begins with a blank goes on with the text before.
struct Paragraph {
  struct Row {
    int line;
    std::string step, text;
  };
  std::string path, header;
  std::vector<Row> rows;
};

// The paragraphs of a file; lines "WORD := TEXT" before the first are added to the words.
std::vector<Paragraph> readParagraphs(const std::string& path, Words& words);
