#include "platform/shared_libraries.h"

#include <dlfcn.h>

#include <map>
#include <mutex>
#include <string>

void *Zb7_PlatformOpenLibrary(std::initializer_list<const char *> sonames) {
    static std::mutex mutex;
    static std::map<std::string, void *> opened;  // by first soname; null: looked for, not found
    if (sonames.size() == 0) return nullptr;
    std::lock_guard<std::mutex> lock(mutex);
    const auto known = opened.find(*sonames.begin());
    if (known != opened.end()) return known->second;
    void *library = nullptr;
    for (const char *soname : sonames)
        if ((library = dlopen(soname, RTLD_NOW | RTLD_LOCAL))) break;
    opened.emplace(*sonames.begin(), library);
    return library;
}

void *Zb7_PlatformLibrarySymbol(void *library, const char *name) { return library ? dlsym(library, name) : nullptr; }
