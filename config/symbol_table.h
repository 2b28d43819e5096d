// Names and their values, as the configuration reader finds them.
//
// A table owns its symbols. Names and values are byte strings without NUL; names are
// compared byte for byte, there is no case folding anywhere.
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

// Returns a new, empty table, which the caller releases with sym_delete_table(), or
// null when memory runs out. The arguments name the caller's place in the source for
// memory tracing; they are not used.
SymbolTable* sym_create_table_(const char* file, int line);

// Frees the table with everything in it, also the values that sym_get_value() has
// handed out. A null table is ignored.
void sym_delete_table(SymbolTable* table);

struct DeleteTable {
  void operator()(SymbolTable* table) const { sym_delete_table(table); }
};
using OwnedTable = std::unique_ptr<SymbolTable, DeleteTable>;

// Returns the symbol with exactly this name, or null.
Symbol* sym_lookup_symbol(const SymbolTable* table, const char* name);

// Gives the symbol of this name the value, creating it when there is none, and
// returns it. Throws std::bad_alloc, leaving the table as it was. The last two
// arguments are those of sym_create_table_().
Symbol* sym_assume_symbol_(SymbolTable* table, const char* name, const char* value,
                           const char* file, int line);

// Returns the value stored under the name, or defaultValue when there is none.
// White space around the name looked for is ignored. The text belongs to the
// table and lives until the table is deleted or the value replaced.
const char* sym_get_value(const SymbolTable* table, const char* name, const char* defaultValue);

// Brings the list of all symbols into the order of their names. Lookups do not
// depend on that order.
void sym_sort_table(SymbolTable* table);
