// Names of files as an index lists them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The name of the folder, beside the index, in which an installation keeps its journal.
std::string journalName(const std::string& index);

// Whether a name stays below the directory that it is joined to and stands for a
// file of the database: it is not absolute, holds neither a ".." component nor a
// control character, and stands neither for the index itself nor for anything in its
// journal, however that is written. An index comes over plain HTTP: it may never write or
// delete anything else.
bool isSafeName(std::string_view name, const std::string& index);

// Whether a name is safe and in normal form: it is not empty, and it has no "." and no
// empty component. Two different plain names are two different files.
bool isPlainName(std::string_view name, const std::string& index);

// The name in normal form: without empty components and without ".".
std::string normalisedName(std::string_view name);

// A text of an index for the log: '?' stands for each control character.
std::string printableName(std::string_view name);

// A listed name that is compared with very many others. The last bytes are compared first,
// because the names of a database differ there. The object is a view: the text must
// outlive it.
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
