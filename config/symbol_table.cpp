#include "config/symbol_table.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

namespace {

// The sum of the bytes as signed numbers; only its low eight bits count, so
// the signs do not matter.
std::uint8_t hashOf(std::string_view name) {
  std::uint8_t sum = 0;
  for (const char c : name) sum = static_cast<std::uint8_t>(sum + static_cast<unsigned char>(c));
  return sum;
}

std::string_view withoutOuterSpace(std::string_view text) {
  const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

Symbol* findSymbol(const SymbolTable& table, std::string_view name) {
  for (Symbol* symbol = table.buckets[hashOf(name)]; symbol != nullptr; symbol = symbol->bucketNext)
    if (symbol->name == name) return symbol;
  return nullptr;
}

void insertAtHeads(SymbolTable& table, Symbol* symbol) {
  symbol->next = table.symbols;
  if (symbol->next != nullptr) symbol->next->previous = symbol;
  table.symbols = symbol;

  Symbol*& bucket = table.buckets[symbol->hash];
  symbol->bucketNext = bucket;
  if (bucket != nullptr) bucket->bucketPrevious = symbol;
  bucket = symbol;

  ++table.size;
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
  return findSymbol(*table, name);
}

Symbol* sym_assume_symbol_(SymbolTable* table, const char* name, const char* value,
                           const char* /*file*/, int /*line*/) {
  if (Symbol* const known = findSymbol(*table, name); known != nullptr) {
    if (known->value != value) known->value = std::string(value);
    return known;
  }
  auto symbol = std::make_unique<Symbol>();
  symbol->name = name;
  symbol->value = value;
  symbol->hash = hashOf(symbol->name);
  insertAtHeads(*table, symbol.get());
  return symbol.release();
}

const char* sym_get_value(const SymbolTable* table, const char* name, const char* defaultValue) {
  const Symbol* const symbol = findSymbol(*table, withoutOuterSpace(name));
  return symbol != nullptr ? symbol->value.c_str() : defaultValue;
}

void sym_sort_table(SymbolTable* table) {
  std::vector<Symbol*> order;
  order.reserve(static_cast<std::size_t>(table->size));
  for (Symbol* symbol = table->symbols; symbol != nullptr; symbol = symbol->next)
    order.push_back(symbol);
  std::sort(order.begin(), order.end(),
            [](const Symbol* a, const Symbol* b) { return a->name < b->name; });

  table->symbols = nullptr;
  Symbol* previous = nullptr;
  for (Symbol* const symbol : order) {
    symbol->previous = previous;
    symbol->next = nullptr;
    (previous != nullptr ? previous->next : table->symbols) = symbol;
    previous = symbol;
  }
}
