// Names of files as an index lists them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The name of the folder in which an installation keeps its journal, beside the index.
std::string journalName(const std::string& index);

// Whether a name stays below the directory that it is joined to and stands for a
// file of the database: it is not absolute, holds neither a ".." component nor a
// control character, and stands neither for the index itself nor for anything in its
// journal, however that is written. An index comes over plain HTTP: it may never write or
// delete anything else.
bool isSafeName(std::string_view name, const std::string& index);

// Whether a name is safe and written in the one usual way: it is not empty and
// has no "." or empty component, so another name stands for another file.
bool isPlainName(std::string_view name, const std::string& index);

// The name without the components that lead nowhere, empty ones and ".".
std::string normalisedName(std::string_view name);

// A text of an index for the log: '?' stands for each control character.
std::string printableName(std::string_view name);

// A listed name, ready to be compared with very many others: their last bytes,
// in which the names of a database differ, before all of them. A view; the text
// must outlive it.
class IndexName {
 public:
  explicit IndexName(std::string_view text);

  std::string_view text() const { return text_; }

  friend bool operator==(const IndexName& a, const IndexName& b) {
    return a.tail_ == b.tail_ && a.text_ == b.text_;
  }

 private:
  std::string_view text_;
  std::uint64_t tail_ = 0;
};
