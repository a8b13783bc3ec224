// Volumes of the system. The root file system is the startup volume; every file system mounted
// directly inside /Volumes, /media, /media/<user>, /run/media/<user> or /mnt is a further volume,
// named by its mount point's last component. Everything else belongs to the startup volume.
//
// Volume numbers: -100 for the startup volume, then -101, -102, ... as volumes first appear in the
// mount table (in its order). A volume keeps its number while it stays mounted; a file system
// mounted anew gets a number no volume has had before in this process (only once every number
// down to -32768 has been given out are the numbers of unmounted volumes used again).
//
// The table is read from /proc/self/mountinfo and read again whenever the kernel reports that the
// mount table has changed, so every look-up sees the current mounts. All functions are safe to
// call from several threads at once.
#ifndef ZERB_PLATFORM_VOLUMES_H
#define ZERB_PLATFORM_VOLUMES_H

#include <string>
#include <string_view>
#include <vector>

constexpr short kZbStartupVRefNum = -100;

struct ZbVolume {
    short vRefNum = 0;
    // The name as colon paths show it: a ":" in the mount point's name appears as "/".
    std::string name;
    // Absolute, without a trailing "/"; "/" for the startup volume.
    std::string mountPoint;
    // The file-system type the mount table gives ("ext4", "fuse.sshfs"); empty for the startup
    // volume.
    std::string fileSystemType = {};
};

// Name of the startup volume: the root file system's label when it has one, else "Startup Disk"
// (":" shown as "/", as in every volume name). Read once; later calls answer the same name.
std::string Zb7_PlatformStartupVolumeName();

// Every volume: the startup volume first, then the others by number (descending: -101, -102, ...).
std::vector<ZbVolume> Zb7_PlatformListVolumes();

// The volume of that number; false when no mounted volume has it.
bool Zb7_PlatformVolumeByNumber(short vRefNum, ZbVolume &volume);

// The volume of that name (compared byte for byte). When several volumes share the name, the one
// numbered `preferred` if it is among them, else the first of them in the order of
// Zb7_PlatformListVolumes. False when no volume has the name.
bool Zb7_PlatformVolumeByName(std::string_view name, ZbVolume &volume, short preferred = 0);

// The volume an absolute path lies on, judged by the text of the path alone (no file-system call):
// the volume whose mount point is the longest whole-component prefix of the path; the startup
// volume when no other matches. The path must be absolute and free of "//", "." and "..".
void Zb7_PlatformVolumeOfPath(std::string_view path, ZbVolume &volume);

#endif
