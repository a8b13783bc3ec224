// A library to preload (LD_PRELOAD) into a test process: its syscall() answers -1 with ENOSYS
// for the system call numbers listed, comma-separated, in ZERB_MISSING_SYSCALLS, as a kernel
// that lacks them would, and passes every other call to the C library's syscall(). The plug-in
// reaches the calls newer than the oldest kernel it supports through syscall(), so this shows
// what it does on that kernel.
#include <dlfcn.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace {

bool Listed(long number) {
    const char *list = std::getenv("ZERB_MISSING_SYSCALLS");
    while (list && *list) {
        char *end = nullptr;
        const long listed = std::strtol(list, &end, 10);
        if (end == list) return false;
        if (listed == number) return true;
        list = *end == ',' ? end + 1 : end;
    }
    return false;
}

}  // namespace

extern "C" long syscall(long number, ...) {
    using Real = long (*)(long, ...);
    static const Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "syscall"));
    if (Listed(number) || !real) {
        errno = ENOSYS;
        return -1;
    }
    va_list list;
    va_start(list, number);
    long a[6];
    for (long &value : a) value = va_arg(list, long);
    va_end(list);
    return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}
