#include "platform/read_advice.h"

#include <fcntl.h>

void Zb7_PlatformAdviseSequentialRead(int fd) {
    // Advice only: a failure (a pipe, a file system without read-ahead) changes nothing.
    (void)posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
}
