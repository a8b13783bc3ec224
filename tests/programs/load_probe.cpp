// Loads the plug-in as a server process that has not loaded libFMWrapper.so itself does: only the
// plug-in's run path can lead the dynamic loader to that library. Then starts the plug-in and
// calls one function through the library it found.
//   load_probe PLUGIN FUNCTION PARAMETER
// prints the file the library was loaded from and the function's answer; exit 0 on success.
#include <dlfcn.h>
#include <link.h>

#include <cstddef>
#include <cstdio>

int main(int argc, char **argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: load_probe PLUGIN FUNCTION PARAMETER\n");
        return 2;
    }
    if (!dlopen(argv[1], RTLD_NOW | RTLD_LOCAL)) {
        std::printf("%s\n", dlerror());
        return 1;
    }
    void *wrapper = dlopen("libFMWrapper.so", RTLD_NOW | RTLD_NOLOAD);
    link_map *map = nullptr;
    if (!wrapper || dlinfo(wrapper, RTLD_DI_LINKMAP, &map) != 0) {
        std::printf("libFMWrapper.so is not loaded\n");
        return 1;
    }
    using LoadAndCall = int (*)(const char *, const char *, const char *, char *, size_t);
    const auto call = reinterpret_cast<LoadAndCall>(dlsym(wrapper, "zhost_LoadAndCall"));
    if (!call) {
        std::printf("the emulator has no zhost_LoadAndCall\n");
        return 1;
    }
    char answer[4096];
    const int status = call(argv[1], argv[2], argv[3], answer, sizeof answer);
    std::printf("%s\n%s\n", map->l_name, answer);
    return status == 0 ? 0 : 1;
}
