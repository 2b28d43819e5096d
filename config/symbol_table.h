// A table of names and their values. The configuration reader fills it.
//
// A table owns its symbols. Names and values are byte strings without NUL. Names are
// compared byte for byte, so upper and lower case differ.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

struct Symbol {
  std::string name;
  std::string value;
  void* data = nullptr;  // reserved for other users of the table; null here
  std::uint8_t hash = 0;

  Symbol* next = nullptr;  // the list of all symbols
  Symbol* previous = nullptr;
  Symbol* bucketNext = nullptr;  // the chain of symbols with the same hash
  Symbol* bucketPrevious = nullptr;
};

struct SymbolTable {
  Symbol* symbols = nullptr;           // newest first, until the list is sorted
  std::array<Symbol*, 256> buckets{};  // newest first
  int size = 0;

  SymbolTable() = default;
  SymbolTable(const SymbolTable&) = delete;
  SymbolTable& operator=(const SymbolTable&) = delete;
  ~SymbolTable();
};

// Returns a new, empty table, or null when memory runs out. The caller releases the table
// with sym_delete_table(). The arguments are for memory tracing and name the caller's place
// in the source. They are not used.
SymbolTable* sym_create_table_(const char* file, int line);

// Frees the table and everything in it, also the texts that sym_get_value() returned.
// Ignores a null table.
void sym_delete_table(SymbolTable* table);

using OwnedTable = std::unique_ptr<SymbolTable>;

// Returns the symbol with exactly this name, or null.
Symbol* sym_lookup_symbol(const SymbolTable* table, const char* name);

// Sets the value of the symbol with this name and returns the symbol. Creates the symbol
// when there is none. The table owns it. Throws std::bad_alloc, and the table is as before
// then. The last two arguments are not used, as in sym_create_table_().
Symbol* sym_assume_symbol_(SymbolTable* table, const char* name, const char* value,
                           const char* file, int line);

// Returns the value of the symbol with this name, or defaultValue when there is none. White
// space around `name` is ignored. The table owns the value, which lives until the table is
// deleted or the value is replaced.
const char* sym_get_value(const SymbolTable* table, const char* name, const char* defaultValue);

// Sorts the list of all symbols by name. Lookups do not depend on the order.
void sym_sort_table(SymbolTable* table);
