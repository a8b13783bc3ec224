// ZbFile_FileInfoJSON( switches ; path ): everything about one item as one JSON object (see
// files/item_json.h). "-FollowLinks" describes what a symbolic link leads to instead of the link.
// The call fails only when the item cannot be found or reached; a fact that cannot be read is
// left out and named in "unreadable".
#include <cerrno>

#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "filecore/paths.h"
#include "files/item_json.h"
#include "platform/errors.h"

namespace {

long FileInfo(const fmx::DataVect &parameters, ZbJson &json) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr pathText;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, pathText)) return kParamErr;
    FSSpec ref;
    if (const long err = XP7_TxtToItem(*pathText, ref, kZbMaxNameLength)) return err;
    ZbItemFacts facts;
    ZbItemInfo info;
    if (const long err = Zb7_FSSpecToItemInfo(ref, facts.path, info)) return err;
    facts.full = true;
    facts.follow = XP_HasSwitch(switches, "-FollowLinks");
    Zb7_PlatformVolumeOfPath(facts.path, facts.volume);
    // The root of a volume is shown by the volume's name, as colon paths show it.
    facts.name = facts.path == facts.volume.mountPoint ? facts.volume.name : facts.path.substr(facts.path.rfind('/') + 1);
    if (const int error = Zb7_ReadItemFacts(nullptr, facts))
        return error == ENOENT ? kFnfErr : Zb7_ErrnoToOSErr(error);  // a link that leads nowhere is not found
    ZbItemJsonContext context;
    Zb7_WriteItemJSON(json, facts, kZbEntryFile, context);
    return 0;
}

}  // namespace

fmx::errcode ZbFile7_DoFileInfoJSON(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                    fmx::Data &result) {
    return XP7_JsonAnswerToData(FileInfo, parameters, result);
}
