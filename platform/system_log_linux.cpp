#include "platform/system_log.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/unique_fd.h"

// The line goes straight to the log socket in the format syslog(3) uses, rather than through
// openlog/syslog: openlog would change the ident of the host's own lines for the whole process.
void Zb7_PlatformSystemLog(ZbLogLevel level, const std::string &line) {
    std::string clean = line.substr(0, 2000);
    for (char &c : clean)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    const int priority = LOG_USER | (level == ZbLogLevel::warning ? LOG_WARNING : LOG_NOTICE);
    char stamp[32] = "";
    const time_t now = time(nullptr);
    struct tm local;
    if (localtime_r(&now, &local)) strftime(stamp, sizeof stamp, "%b %e %H:%M:%S", &local);
    char head[96];
    snprintf(head, sizeof head, "<%d>%s ZerbFile[%d]: ", priority, stamp, int(getpid()));
    const std::string message = head + clean;

    ZbUniqueFd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (fd.fd < 0) return;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, "/dev/log");
    if (connect(fd.fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) return;
    // A burst waits briefly for the log daemon to take the lines before; a daemon that does not
    // answer loses the line rather than holding up the call for longer.
    const timeval wait{0, 100000};
    setsockopt(fd.fd, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait);
    (void)!send(fd.fd, message.data(), message.size(), MSG_NOSIGNAL);
}
