// Reads an INI-style configuration file into a symbol table.
//
//   [Update]                       a section, exactly as written
//   ProxyPort = 8080 ; remark      stored as "Update:ProxyPort" -> "8080"
//   ProxyPass = "a;b\"c"           a quoted value keeps ';' and '#'; \n is a
//                                  line feed, \ before another letter drops out
//   ServerList = "mirror1,-        ... and goes on after a '-' that ends its line
//   mirror2"
//   BasesPath = $(HOME)/bases      a reference to the environment
//
// Lines that begin with ';', '#' or '!' and lines of any other form are passed
// over; so is a key before the first section.
#pragma once

#include "config/symbol_table.h"

// Loads the file into the table, or into a new one when the table is null, and
// returns the table. A name that occurs again keeps its last value.
//
// Besides the keys, each section stores its own name with an empty value, and
// the file stores "filename", "filedate" (CCYYMMDD) and "filetime" (HHMMSSCC).
// An entry whose name would exceed 1024 characters is left out.
//
// The file is the named one or, when that does not exist, the first of that name in a
// directory of PATH. Without PATH in the environment no file outside a directory
// called PATH is found.
//
// A file that cannot be found leaves the table as it was, one that cannot be opened
// gives its three symbols alone; when memory runs out the table keeps what was read so
// far. Returns null only when a table had to be created and could not be.
SymbolTable* ini_dyn_load(SymbolTable* table, const char* file);
