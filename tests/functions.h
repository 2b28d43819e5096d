// Functions under test. A program of the tests calls one for each row of a paragraph "== NAME"
// (see cases.py): it gets the cells before the last and gives the text that the last must be.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;

struct Function {
  using Body = std::function<std::string(const Strings&)>;
  Function(const std::string& name, const Body& body);
};

// The words of a text with something between them, an empty last one left out; and back.
Strings wordsOf(const std::string& text, char between = ' ');
std::string joined(const Strings& words, const std::string& between);

std::string replaced(std::string text, const std::string& what, const std::string& by);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& contents);

// Runs a shell command that must succeed.
void shell(const std::string& command);

// A new installation for Kaspersky-format bases, at its fixed paths, and a scratch directory,
// the current one.
class OnMachine : public testing::Test {
 public:
  OnMachine();
};
