#include "plugin/registry.h"

#include <array>
#include <iterator>
#include <new>

#include "plugin/globals.h"
#include "plugin/handlers.h"
#include "plugin/results.h"
#include "plugin/strings.h"

namespace {

struct ZbFunctionEntry {
    short id;
    short minParameters;
    short maxParameters;
    ZbHandler handler;
};


// The main table in registration order. The order is not that of the ids, and it is visible:
// registration stops at the first entry the host refuses.
constexpr ZbFunctionEntry kMainTable[] = {
    {4201, 2, 2, ZbFile7_DoAppendContents},  // AppendContents
    {4202, 1, 3, ZbFile7_DoContentsDialog},  // ContentsDialog
    {4203, 1, 2, ZbFile7_DoControl},  // Control
    {4204, 2, 2, ZbFile7_DoConvertFromFMText_ToFMText},  // ConvertFromFMText
    {4205, 2, 2, ZbFile7_DoConvertFromFMText_ToFMText},  // ConvertToFMText
    {4210, 3, 3, ZbFile7_DoCopyFile_DoMoveFile},  // CopyFile
    {4211, 2, 2, ZbFile7_DoCreateFile},  // CreateFile
    {4212, 2, 2, ZbFile7_DoCreateFolder},  // CreateFolder
    {4284, 2, 2, ZbFile7_DoCreateThumbnail},  // CreateThumbnail
    {4213, 2, 2, ZbFile7_DoDeleteFile},  // DeleteFile
    {4214, 2, 2, ZbFile7_DoDeleteFolder},  // DeleteFolder
    {4215, 2, 2, ZbFile7_DoDiskInfo},  // DiskInfo
    {4216, 2, 2, ZbFile7_DoExists},  // Exists
    {4220, 2, 2, ZbFile7_DoFileSpecToFullPath},  // FileSpecToFullPath
    {4221, 1, 1, ZbFile7_DoFindFolder},  // FindFolder
    {4222, 2, 2, ZbFile7_DoFullPathToFileSpec},  // FullPathToFileSpec
    {4223, 2, 4, ZbFile7_DoGetContents},  // GetContents
    {4224, 2, 2, ZbFile7_DoGetFileSize},  // GetFileSize (data fork)
    {4230, 2, 2, ZbFile7_DoGetDateCreatedModifiedAccessed},  // GetDateCreated
    {4231, 2, 2, ZbFile7_DoGetDateCreatedModifiedAccessed},  // GetDateModified
    {4232, 2, 2, ZbFile7_DoGetDateCreatedModifiedAccessed},  // GetTimestampCreated
    {4233, 2, 2, ZbFile7_DoGetDateCreatedModifiedAccessed},  // GetTimestampModified
    {4234, 2, 2, ZbFile7_DoGetFileAttribute},  // GetFileAttribute
    {4240, 2, 2, ZbFile7_DoGetFileCreatorOrType},  // GetFileCreator
    {4241, 2, 2, ZbFile7_DoGetFileSize},  // GetFileSizeTotal
    {4242, 2, 2, ZbFile7_DoGetFileCreatorOrType},  // GetFileType
    {4243, 1, 3, ZbFile7_DoGetPathTo},  // GetPathTo
    {4244, 2, 2, ZbFile7_DoGetFileSize},  // GetResourceForkSize
    {4250, 2, 2, ZbFile7_DoGetDateCreatedModifiedAccessed},  // GetTimeCreated
    {4251, 2, 2, ZbFile7_DoGetDateCreatedModifiedAccessed},  // GetTimeModified
    {4252, 2, 3, ZbFile7_DoLaunch},  // Launch
    {4253, 1, 1, ZbFile7_DoListDisks},  // ListDisks
    {4254, 2, 2, ZbFile7_DoListFolder},  // ListFolder
    {4260, 2, 2, ZbFile7_DoMetaData},  // MetaData
    {4261, 4, 6, ZbFile7_DoMountDisk},  // MountDisk
    {4262, 3, 3, ZbFile7_DoCopyFile_DoMoveFile},  // MoveFile
    {4263, 2, 3, ZbFile7_DoReferenceToClip},  // ReferenceToClip
    {4264, 2, 4, ZbFile7_DoSaveFileDialog},  // SaveFileDialog
    {4270, 3, 3, ZbFile7_DoSearch},   // Search
    {4271, 2, 3, ZbFile7_DoSelectFileDialog},  // SelectFileDialog
    {4272, 2, 3, ZbFile7_DoSelectFolderDialog},  // SelectFolderDialog
    {4273, 2, 2, ZbFile7_DoSetContents},  // SetContents
    {4274, 2, 2, ZbFile7_DoSetDefaultCreator},  // SetDefaultCreator
    {4280, 2, 2, ZbFile7_DoSetDefaultFileSpec},  // SetDefaultFileSpec
    {4281, 2, 2, ZbFile7_DoSetDefaultType},  // SetDefaultType
    {4282, 2, 4, ZbFile7_DoSetFileAttribute},  // SetFileAttribute
    {4285, 3, 3, ZbFile7_DoSetTimestampCreatedOrModified},  // SetTimestampCreated
    {4286, 3, 3, ZbFile7_DoSetTimestampCreatedOrModified},  // SetTimestampModified
    {4283, 5, 5, ZbFile7_DoSubstitute},  // Substitute
    {4290, 2, 2, ZbFile7_DoUnmountDisk},  // UnmountDisk
};
static_assert(std::size(kMainTable) == 50);

struct ZbGroup {
    short group;
    ZbFunctionEntry functions[3];
    int count;
};

constexpr ZbGroup kGroups[] = {
    {kZbGroupSetMetaData, {{4287, 4, 4, ZbFile7_DoSetMetaData}}, 1},
    {kZbGroupLastAccessed,
     {{4291, 2, 2, ZbFile7_DoGetDateCreatedModifiedAccessed},
      {4292, 2, 2, ZbFile7_DoGetDateCreatedModifiedAccessed},
      {4293, 2, 2, ZbFile7_DoGetDateCreatedModifiedAccessed}},
     3},
    {kZbGroupAsciiValueToText, {{4294, 2, 3, ZbFile7_DoAsciiValueToText}}, 1},
    {kZbGroupExecuteShell, {{4295, 2, 2, ZbFile7_DoExecuteShell}}, 1},
    {kZbGroupCopyFolder, {{4296, 3, 3, ZbFile7_DoCopyFolder_DoMoveFolder}}, 1},
};

// One flag per group, set after its registration attempt and never cleared.
bool gExtraRegistered[std::size(kGroups)] = {};

constexpr short kFirstFunctionId = 4201;
constexpr unsigned kFunctionSlots = 96;  // ids 4201 to 4296

// Handler by id - 4201; null for ids no function has.
constexpr std::array<ZbHandler, kFunctionSlots> MakeRoutes() {
    std::array<ZbHandler, kFunctionSlots> routes{};
    for (const auto &e : kMainTable) routes[e.id - kFirstFunctionId] = e.handler;
    for (const auto &g : kGroups)
        for (int k = 0; k < g.count; ++k) routes[g.functions[k].id - kFirstFunctionId] = g.functions[k].handler;
    return routes;
}
constexpr auto kRoutes = MakeRoutes();

fmx::errcode ZbRegister(short functionId, short key, short minParameters, short maxParameters,
                        uint32_t flags) noexcept try {
    fmx::QuadCharUniquePtr pluginId('Z', '7', 'f', 'i');
    fmx::TextUniquePtr name, prototype;
    XP7_Do_GetString(kZbStringTable, kZbStringKeyFormat, static_cast<unsigned long>(key), prototype, false);
    XP7_Do_GetString(kZbStringTable, kZbStringKeyFormat, static_cast<unsigned long>(key), name, true);
    return fmx::ExprEnv::RegisterExternalFunction(*pluginId, functionId, *name, *prototype, minParameters,
                                                  maxParameters, flags, ZbDispatchFunction);
} catch (...) {
    return -108;  // the host could not build the texts: count it as a refused registration
}

fmx::errcode ZbRegister(const ZbFunctionEntry &e) {
    return ZbRegister(e.id, e.id, e.minParameters, e.maxParameters, kZbFileFunctionFlags);
}

void ZbUnregister(short functionId) {
    try {
        fmx::QuadCharUniquePtr pluginId('Z', '7', 'f', 'i');
        fmx::ExprEnv::UnRegisterExternalFunction(*pluginId, functionId);
    } catch (...) {
        // errors of unregistration are ignored
    }
}

}  // namespace

fmx::errcode ZbRegisterExtraFunctions(short functionId) {
    ZbFrameLock lock(gFrameMutex);
    for (size_t g = 0; g < std::size(kGroups); ++g) {
        if (kGroups[g].group != functionId) continue;
        if (gExtraRegistered[g]) return 0;
        fmx::errcode rc = 0;
        for (int k = 0; k < kGroups[g].count; ++k) rc = ZbRegister(kGroups[g].functions[k]);
        gExtraRegistered[g] = true;
        return rc;
    }
    return 0;
}

void ZbRegisterAllFunctions() {
    bool mainTableComplete = true;
    for (const auto &e : kMainTable) {
        if (ZbRegister(e) != 0) {
            mainTableComplete = false;
            break;
        }
    }
    if (mainTableComplete && ZbRegisterExtraFunctions(kZbGroupSetMetaData) == 0)
        ZbRegisterExtraFunctions(kZbGroupLastAccessed);
    ZbRegister(0, 9000, 0, 0, kZbVersionFunctionFlags);
    ZbRegister(1, 9001, 1, 1, kZbVersionFunctionFlags);
}

void ZbUnregisterAllFunctions() {
    // 4296 is left out on purpose: once registered, CopyFolder stays with the host.
    ZbUnregister(0);
    ZbUnregister(1);
    for (const auto &e : kMainTable) ZbUnregister(e.id);
    for (short id : {4287, 4291, 4292, 4293, 4294, 4295}) ZbUnregister(id);
}

fmx::errcode ZbDispatchFunction(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                fmx::Data &result) {
    ZbHandler handler = nullptr;
    if (functionId == 0 || functionId == 1) {
        handler = ZbFile7_DoVersion;
    } else if (functionId == 4203) {
        handler = ZbFile7_DoControl;
    } else {
        bool disabled;
        {
            ZbFrameLock lock(gFrameMutex);
            disabled = !gPassword.empty();
        }
        if (disabled) {
            try {
                XP7_OSErrLToData(kZbErrDisabled, result);
            } catch (...) {
            }
            return 0;
        }
        const auto index = static_cast<unsigned short>(functionId - kFirstFunctionId);
        if (index >= kFunctionSlots) return 0;
        handler = kRoutes[index];
        if (!handler) return 0;
    }
    // A host failure inside a handler arrives as an exception; it becomes the call's error result.
    try {
        return handler(functionId, env, parameters, result);
    } catch (const std::bad_alloc &) {
        try {
            XP7_OSErrLToData(-108, result);
        } catch (...) {
        }
    } catch (...) {
        try {
            XP7_OSErrLToData(-36, result);
        } catch (...) {
        }
    }
    return 0;
}
