// Whole volumes: their space, whether they are on a server, and mounting and unmounting.
#ifndef ZERB_PLATFORM_DISKS_H
#define ZERB_PLATFORM_DISKS_H

#include <cstdint>
#include <string>

#include "platform/volumes.h"

// The volume's size and the bytes free for the plug-in's user.
[[nodiscard]] long Zb7_PlatformDiskSpace(const ZbVolume &volume, uint64_t &totalBytes, uint64_t &freeBytes);

// True when the volume's file system is a network one (NFS, SMB/CIFS, sshfs, WebDAV, 9p, AFS,
// Ceph, GlusterFS and the like).
bool Zb7_PlatformIsNetworkVolume(const ZbVolume &volume);

// Mounts a server URL ("smb://server/share", "http://server/path"): through GIO when a session
// bus is there, else, running as root, with mount(8) at /media/<the URL's last name> (cifs for
// smb://, davfs for http://). User and password may be empty. The password reaches the mount
// helper through a pipe, never through its command line, its environment or a file.
[[nodiscard]] long Zb7_PlatformMountURL(const std::string &url, const std::string &user, const std::string &password);

// Unmounts the volume; a removable medium is then ejected.
[[nodiscard]] long Zb7_PlatformUnmount(const ZbVolume &volume);

#endif
