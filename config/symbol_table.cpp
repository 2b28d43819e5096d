#include "config/symbol_table.h"

#include <algorithm>
#include <new>
#include <numeric>
#include <string_view>
#include <vector>

namespace {

constexpr char kSpace[] = " \t\n\v\f\r";  // all white space

// Returns the low eight bits of the sum of all bytes.
std::uint8_t hashOf(std::string_view name) {
  return static_cast<std::uint8_t>(std::accumulate(name.begin(), name.end(), 0U));
}

std::string withoutOuterSpace(std::string_view text) {
  text = text.substr(0, text.find_last_not_of(kSpace) + 1);
  return std::string(text.substr(std::min(text.find_first_not_of(kSpace), text.size())));
}

// Puts a symbol at the head of the list.
void prepend(SymbolTable& table, Symbol* symbol) {
  symbol->previous = nullptr;
  symbol->next = table.symbols;
  if (symbol->next != nullptr) symbol->next->previous = symbol;
  table.symbols = symbol;
}

}  // namespace

SymbolTable::~SymbolTable() {
  while (symbols != nullptr) {
    const std::unique_ptr<Symbol> first(symbols);
    symbols = first->next;
  }
}

SymbolTable* sym_create_table_(const char* /*file*/, int /*line*/) {
  return new (std::nothrow) SymbolTable;
}

void sym_delete_table(SymbolTable* table) { delete table; }

Symbol* sym_lookup_symbol(const SymbolTable* table, const char* name) {
  const std::string_view wanted(name);
  for (Symbol* symbol = table->buckets[hashOf(wanted)]; symbol != nullptr;
       symbol = symbol->bucketNext)
    if (symbol->name == wanted) return symbol;
  return nullptr;
}

Symbol* sym_assume_symbol_(SymbolTable* table, const char* name, const char* value,
                           const char* /*file*/, int /*line*/) {
  if (Symbol* const known = sym_lookup_symbol(table, name); known != nullptr) {
    if (known->value != value) known->value = std::string(value);
    return known;
  }
  auto symbol = std::make_unique<Symbol>();
  symbol->name = name;
  symbol->value = value;
  symbol->hash = hashOf(symbol->name);
  prepend(*table, symbol.get());
  Symbol*& bucket = table->buckets[symbol->hash];
  symbol->bucketNext = bucket;
  if (bucket != nullptr) bucket->bucketPrevious = symbol.get();
  bucket = symbol.get();
  ++table->size;
  return symbol.release();
}

const char* sym_get_value(const SymbolTable* table, const char* name, const char* defaultValue) {
  const Symbol* const symbol = sym_lookup_symbol(table, withoutOuterSpace(name).c_str());
  return symbol != nullptr ? symbol->value.c_str() : defaultValue;
}

void sym_sort_table(SymbolTable* table) {
  std::vector<Symbol*> order;
  for (Symbol* symbol = table->symbols; symbol != nullptr; symbol = symbol->next)
    order.push_back(symbol);
  std::sort(order.begin(), order.end(),
            [](const Symbol* a, const Symbol* b) { return a->name > b->name; });
  table->symbols = nullptr;
  for (Symbol* const symbol : order) prepend(*table, symbol);
}
