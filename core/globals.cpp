#include "core/globals.h"

#include "fmx/fmx.h"

std::recursive_mutex gFrameMutex;

extern "C" {
FMX_ExternCallPtr gFMX_ExternCallPtr = nullptr;
}

long gXP_StartupCount = 0;
std::string gStartupDiskNameAndColon = "BOGUS NAME";
uint32_t gDefaultCreator = 0;
std::unique_ptr<std::array<uint32_t, kMaxDefaultTypes>> gDefaultFTypeListPtr;
short gNumTypes = 0;
bool gAliasBugWorkAround = true;
std::string gPassword;
