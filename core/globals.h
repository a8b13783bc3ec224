// Process-wide state of the frame. The host may call from several threads at once, so every
// global below is read and written only while holding gFrameMutex.
#ifndef ZERB_CORE_GLOBALS_H
#define ZERB_CORE_GLOBALS_H

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/four_char_code.h"

extern std::recursive_mutex gFrameMutex;

using ZbFrameLock = std::lock_guard<std::recursive_mutex>;

extern long gXP_StartupCount;            // init messages seen in this process
extern std::string gStartupDiskNameAndColon;

// Creator code given to new files; 0 gives them none.
extern uint32_t gDefaultCreator;

// Default file type list for the open-file dialog: room for ten four-character types.
constexpr int kMaxDefaultTypes = 10;
extern std::unique_ptr<std::array<uint32_t, kMaxDefaultTypes>> gDefaultFTypeListPtr;
extern short gNumTypes;                  // entries used; -1 means no filter

extern bool gAliasBugWorkAround;
extern std::string gPassword;            // non-empty: every function except Version and Control is disabled

#endif
