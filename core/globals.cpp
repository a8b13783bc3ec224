#include "core/globals.h"

#include "fmx/fmx.h"

std::recursive_mutex gFrameMutex;

extern "C" {
FMX_ExternCallPtr gFMX_ExternCallPtr = nullptr;
}

short gThisResPath = 0;
short gHostExtnVersion = 0;
long gXP_StartupCount = 0;
std::string gStartupDiskNameAndColon = "BOGUS NAME";
bool gNavServicesExists = false;
uint32_t gDefaultCreator = 0;
std::unique_ptr<std::array<uint32_t, kMaxDefaultTypes>> gDefaultFTypeListPtr;
short gNumTypes = 0;
std::string gWindowTitle;
bool gAliasBugWorkAround = true;
std::string gPassword;
