// DiskInfo, MountDisk and UnmountDisk (ListDisks is a mode of the file-list builder).
#include <cstdint>
#include <cstring>
#include <string>

#include "files/file_list.h"
#include "files/search.h"
#include "platform/disks.h"
#include "platform/errors.h"
#include "platform/volumes.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"

namespace {

// A C-string parameter of at most 2000 bytes, UTF-8.
std::string NextString(const fmx::DataVect &parameters, unsigned long &cursor) {
    char buffer[kZbSwitchesCapacity + 1] = "";
    XP7_GetNextCStringFromVect(parameters, buffer, sizeof buffer, &cursor, fmx::Text::kEncoding_UTF8);
    return buffer;
}

// The mounted volume of that name; one trailing ":" is optional.
long VolumeNamed(std::string name, ZbVolume &volume) {
    if (name.ends_with(':')) name.pop_back();
    if (name.empty()) return kParamErr;
    return Zb7_PlatformVolumeByName(name, volume) ? kNoErr : kNsvErr;
}

// Files and folders on the volume below its root, never counting into another mount.
void CountItems(const ZbVolume &volume, uint64_t &files, uint64_t &folders) {
    FLswitchTag everything;
    everything.files = everything.folders = everything.showinvisibles = everything.showaliases = true;
    everything.mode = kZbListSearch;
    ZbSearchIterator walk;
    walk.volume = volume;
    walk.countOnly = true;
    std::vector<ZbListItem> none;
    while (Zb7_Mac_NameFileSearchXBetter(walk, everything, none, SIZE_MAX) == 0) {}
    files = walk.files;
    folders = walk.folders;
}

long DiskInfo(const fmx::DataVect &parameters, std::string &answer) {
    if (parameters.Size() < 2) return kParamErr;
    unsigned long cursor = 0;
    const std::string switches = NextString(parameters, cursor);
    const std::string name = NextString(parameters, cursor);
    const char *s = switches.c_str();
    const bool freeMegs = XP_HasSwitch(s, "GetFreeMegs"), totalMegs = XP_HasSwitch(s, "GetTotalMegs");
    const bool fileCount = XP_HasSwitch(s, "GetFileCount"), folderCount = XP_HasSwitch(s, "GetFolderCount");
    const bool network = XP_HasSwitch(s, "GetIsNetworkDisk");
    if (!(freeMegs || totalMegs || fileCount || folderCount || network) || name.empty()) return kParamErr;
    ZbVolume volume;
    if (const long err = VolumeNamed(name, volume)) return err;
    if (freeMegs || totalMegs) {
        uint64_t total = 0, available = 0;
        if (const long err = Zb7_PlatformDiskSpace(volume, total, available)) return err;
        answer = std::to_string(uint32_t((freeMegs ? available : total) / 1048576));
    } else if (fileCount || folderCount) {
        uint64_t files = 0, folders = 0;
        CountItems(volume, files, folders);
        answer = std::to_string((fileCount ? files : 0) + (folderCount ? folders : 0));
    } else {
        answer = Zb7_PlatformIsNetworkVolume(volume) ? "1" : "0";
    }
    return 0;
}

}  // namespace

// The AppleShare client's version: there is none on this system.
long Zb7_AShareClientVersion() { return 0; }

// Mounts a server volume: an AFP server by TCP/IP ("afp://") or AppleTalk name, or a URL
// ("http://", "smb://"). Only URL mounts have a client here; AFP requests get their checks and
// then their errors.
long XP7_MountTheDisk(std::string zone, const std::string &address, std::string volume, const std::string &user,
                      const std::string &password) {
    if (zone.size() > 31) return kNameTooLongForServerErr;
    if (address.starts_with("afp://")) {
        if (Zb7_AShareClientVersion() < 6) return kNoAFPClientErr;
    } else if (address.starts_with("http://") ||
               (address.find("http://") == std::string::npos && address.starts_with("smb://"))) {
        std::string url = address;
        if (!url.ends_with('/')) url += '/';
        url += volume;
        return Zb7_PlatformMountURL(url, user, password);
    } else if (address.size() > 27) {
        return kNameTooLongForServerErr;  // an AppleTalk server name
    }
    if (volume.empty()) return kParamErr;
    if (volume.ends_with(':')) volume.pop_back();
    if (volume.size() > 27 || user.size() > 31 || password.size() > 8) return kNameTooLongForServerErr;
    return kNotSupportedErr;  // no AppleTalk client on this system
}

fmx::errcode ZbFile7_DoDiskInfo(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                fmx::Data &result) {
    std::string answer;
    if (const long err = DiskInfo(parameters, answer))
        XP7_OSErrLToData(err, result);
    else
        XP7_CStrToData(answer.c_str(), result);
    return 0;
}

fmx::errcode ZbFile7_DoMountDisk(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                 fmx::Data &result) {
    unsigned long cursor = 0;
    NextString(parameters, cursor);  // no switch changes how a mount goes here
    const std::string zone = NextString(parameters, cursor);
    const std::string address = NextString(parameters, cursor);
    const std::string volume = NextString(parameters, cursor);
    const std::string user = NextString(parameters, cursor);
    std::string password = NextString(parameters, cursor);
    const long err = parameters.Size() < 4 || address.empty()
                         ? kParamErr
                         : XP7_MountTheDisk(zone, address, volume, user, password);
    std::fill(password.begin(), password.end(), '\0');
    XP7_OSErrLToData(err, result);
    return 0;
}

fmx::errcode ZbFile7_DoUnmountDisk(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                   const fmx::DataVect &parameters, fmx::Data &result) {
    unsigned long cursor = 0;
    NextString(parameters, cursor);
    ZbVolume volume;
    long err = VolumeNamed(NextString(parameters, cursor), volume);
    if (err == 0) err = Zb7_PlatformUnmount(volume);
    XP7_OSErrLToData(err, result);
    return 0;
}
