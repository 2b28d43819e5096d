// Property: every file gives a table, and each symbol in it is found under its name.

#include <cstring>

#include "config/ini_reader.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const InputFile file(data, size);
  SymbolTable* const table = ini_dyn_load(nullptr, file.path());
  int count = 0;
  const Symbol* previous = nullptr;
  for (const Symbol* symbol = table->symbols; symbol != nullptr; symbol = symbol->next) {
    ++count;
    require(symbol->name.size() <= 1024, "a name has at most 1024 characters");
    require(symbol->previous == previous, "the list leads back");
    require(previous == nullptr || previous->name < symbol->name, "names are sorted and unique");
    require(sym_lookup_symbol(table, symbol->name.c_str()) == symbol, "a name finds its symbol");
    previous = symbol;
  }
  require(count == table->size, "every symbol is counted");
  require(sym_lookup_symbol(table, "filename") != nullptr, "the file was read");
  sym_delete_table(table);
  return 0;
}
