// Libraries opened at run time, so that the plug-in loads and works where an optional one is
// missing: each is looked for by its sonames (Debian's and Ubuntu's may differ) on first use, and
// stays open until the process ends.
#ifndef ZERB_PLATFORM_SHARED_LIBRARIES_H
#define ZERB_PLATFORM_SHARED_LIBRARIES_H

#include <initializer_list>

// The first of the sonames that opens, or null. Thread-safe; the answer of the first call is kept
// for the library's first soname.
void *Zb7_PlatformOpenLibrary(std::initializer_list<const char *> sonames);

// The symbol's address in an opened library, or null.
void *Zb7_PlatformLibrarySymbol(void *library, const char *name);

// Looks up every symbol a table of function pointers needs: the table's fields are filled in
// order from the names. False (and the table unusable) when the library or any symbol is missing.
template <typename... Fn>
bool Zb7_PlatformBindSymbols(void *library, std::initializer_list<const char *> names, Fn *&...functions) {
    if (!library || names.size() != sizeof...(functions)) return false;
    const char *const *name = names.begin();
    bool all = true;
    ((functions = reinterpret_cast<Fn *>(Zb7_PlatformLibrarySymbol(library, *name++)), all = all && functions), ...);
    return all;
}

#endif
