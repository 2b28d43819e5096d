// Reads an INI-style configuration file into a symbol table.
//
//   [Update]                       a section, exactly as written
//   ProxyPort = 8080 ; remark      stored as "Update:ProxyPort" -> "8080"
//   ProxyPass = "a;b\"c"           a quoted value keeps ';' and '#'; \n is a line feed,
//                                  and \ before another character is dropped
//   ServerList = "mirror1,-        a '-' at the end of the line is dropped, and the
//   mirror2"                       quoted value continues on the next line
//   BasesPath = $(HOME)/bases      the value of an environment variable
//
// The reader ignores lines that begin with ';', '#' or '!', lines of any other form, and
// keys before the first section.
#pragma once

#include "config/symbol_table.h"

// Loads the file into the table and returns the table. For a null table it creates one,
// which the caller releases with sym_delete_table(). When a name occurs more than once, its
// last value counts.
//
// Besides the keys, the table receives the name of each section with an empty value, and
// three symbols of the file: "filename", "filedate" (CCYYMMDD) and "filetime" (HHMMSSCC).
// An entry whose name would exceed 1024 characters is left out.
//
// `file` is a path. If nothing exists there, the directories of PATH are searched for it.
// Without PATH in the environment, only a directory named PATH is searched.
//
// If the file is not found, the table stays as it was. If the file cannot be opened, the
// table receives only the three symbols of the file. If memory runs out, the table keeps
// the entries read so far. Returns null only when a new table could not be created.
SymbolTable* ini_dyn_load(SymbolTable* table, const char* file);
