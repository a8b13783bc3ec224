// Volumes of the system.
#ifndef ZERB_PLATFORM_VOLUMES_H
#define ZERB_PLATFORM_VOLUMES_H

#include <string>

// Name of the startup volume: the root file system's label, else "Startup Disk".
std::string Zb7_PlatformStartupVolumeName();

#endif
