#include "files/item_json.h"

#include <sys/stat.h>

#include <cstdio>
#include <string_view>
#include <vector>

#include "filecore/paths.h"
#include "files/binary_plist.h"
#include "files/file_info.h"
#include "platform/file_attributes.h"
#include "platform/finder_info.h"
#include "text/charsets.h"

namespace {

// "-rw-r--r--" as ls shows the type and permissions, with the set-id and sticky letters.
std::string ModeText(uint32_t mode) {
    char text[11];
    switch (mode & S_IFMT) {
    case S_IFDIR: text[0] = 'd'; break;
    case S_IFLNK: text[0] = 'l'; break;
    case S_IFIFO: text[0] = 'p'; break;
    case S_IFSOCK: text[0] = 's'; break;
    case S_IFCHR: text[0] = 'c'; break;
    case S_IFBLK: text[0] = 'b'; break;
    default: text[0] = '-'; break;
    }
    static constexpr char kLetters[] = "rwxrwxrwx";
    for (int k = 0; k < 9; ++k) text[1 + k] = (mode & (0400u >> k)) ? kLetters[k] : '-';
    const auto special = [&](int at, uint32_t bit, char set, char setAlone) {
        if (mode & bit) text[at] = text[at] == 'x' ? set : setAlone;
    };
    special(3, S_ISUID, 's', 'S');
    special(6, S_ISGID, 's', 'S');
    special(9, S_ISVTX, 't', 'T');
    text[10] = 0;
    return text;
}

bool Earlier(const ZbInstant &a, const ZbInstant &b) {
    return a.seconds != b.seconds ? a.seconds < b.seconds : a.nanoseconds < b.nanoseconds;
}

// A four-character code as text: its bytes read as Mac OS Roman ("0000" for no code, as
// GetFileType answers).
std::string CodeText(uint32_t code) { return ZbMacRomanToUTF8(Zb7_Mac_OSTypeToTxt(code)); }

// The error an attribute read ran into, or the listing's when the names could not be listed.
int AttributeError(const ZbItemAttributes &attributes, const ZbAttributeValue &value) {
    return attributes.listError ? attributes.listError : value.error;
}

ZbFinderInfo FinderInfoOf(const ZbItemAttributes &attributes) {
    ZbFinderInfo info;
    const ZbAttributeValue &v = attributes.finderInfo;
    if (v.found && v.value.size() == info.bytes.size()) std::copy(v.value.begin(), v.value.end(), info.bytes.begin());
    return info;  // another size is not Finder information: all zero, as everywhere else
}

void WriteUnreadable(ZbJson &json, const std::vector<const char *> &unreadable) {
    if (unreadable.empty()) return;
    json.Key("unreadable");
    json.BeginArray();
    for (const char *field : unreadable) json.Text(field);
    json.EndArray();
}

}  // namespace

ZbItemJsonContext::ZbItemJsonContext() : startupNameAndColon(Zb7_PlatformStartupVolumeName() + ":") {}

const char *Zb7_ItemKindName(ZbItemKind kind) {
    switch (kind) {
    case kZbKindFolder: return "folder";
    case kZbKindLink: return "link";
    case kZbKindFifo: return "fifo";
    case kZbKindSocket: return "socket";
    case kZbKindDevice: return "device";
    case kZbKindFile: break;
    }
    return "file";
}

int Zb7_ReadItemFacts(const ZbFolderHandle *folder, ZbItemFacts &facts) {
    const bool atFolder = folder && folder->fd >= 0;
    facts.statusError = atFolder ? Zb7_PlatformItemStatusAt(*folder, facts.name, facts.follow, facts.status)
                                 : Zb7_PlatformItemStatus(facts.path, facts.follow, facts.status);
    facts.attributes = {};
    facts.linkError = 0;
    facts.linkTarget.clear();
    if (facts.statusError || !facts.full) return facts.statusError;
    Zb7_PlatformReadItemAttributes(facts.path, facts.follow, facts.attributes);
    if (facts.status.kind == kZbKindLink)
        facts.linkError = atFolder ? Zb7_PlatformLinkTargetAt(*folder, facts.name, facts.status.size, facts.linkTarget)
                                   : Zb7_PlatformLinkTarget(facts.path, facts.status.size, facts.linkTarget);
    return 0;
}

uint16_t Zb7_FinderFlagsOf(const ZbItemAttributes &attributes) { return FinderInfoOf(attributes).Flags(); }

void Zb7_WriteItemJSON(ZbJson &json, const ZbItemFacts &facts, ZbEntryKind entryKind, ZbItemJsonContext &context) {
    const ZbItemStatus &st = facts.status;
    const bool known = facts.statusError == 0;
    const ZbItemKind kind = known                          ? st.kind
                            : entryKind == kZbEntryFolder ? kZbKindFolder
                            : entryKind == kZbEntryLink   ? kZbKindLink
                                                          : kZbKindFile;
    std::vector<const char *> unreadable;
    json.BeginObject();
    json.Name("name", facts.name);
    json.Name("path", facts.path);
    if (facts.full) {
        std::string colon;
        if (ZbMoreX_ConvertUnixPathToHFSPath(facts.path, kZbPathUTF8, context.startupNameAndColon, facts.volume, colon,
                                             std::string::npos) == 0) {
            if (kind == kZbKindFolder && (colon.empty() || colon.back() != ':')) colon += ':';
            json.Name("colonPath", colon);
        } else {
            unreadable.push_back("colonPath");
        }
    }
    json.Key("kind");
    json.Text(Zb7_ItemKindName(kind));
    if (!known) {
        // Known from the folder's entry alone: everything else is unreadable.
        for (const char *field : {"size", "allocatedSize", "resourceForkSize", "created", "modified", "accessed",
                                  "changed", "mode", "modeText", "owner", "group", "uid", "gid", "inode", "links",
                                  "invisible", "locked", "alias", "label", "type", "creator", "comment", "linkTarget"}) {
            const std::string_view f = field;
            if (!facts.full && f != "size" && f != "modified") continue;
            if (f == "linkTarget" && kind != kZbKindLink) continue;
            unreadable.push_back(field);
        }
        if (facts.full) {
            json.Key("volume");
            json.Text(facts.volume.name);
        }
        WriteUnreadable(json, unreadable);
        json.EndObject();
        return;
    }
    json.Key("size");
    json.Uint(st.size);
    if (!facts.full) {
        json.Date("modified", st.modified.seconds, st.modified.nanoseconds);
        json.EndObject();
        return;
    }

    const ZbItemAttributes &attrs = facts.attributes;
    // Sizes: the physical size counts the resource fork, as the original's did.
    const int forkError = AttributeError(attrs, attrs.resourceFork);
    const uint64_t forkSize = attrs.resourceFork.found ? attrs.resourceFork.size : 0;
    if (forkError) {
        unreadable.push_back("allocatedSize");
        unreadable.push_back("resourceForkSize");
    } else {
        json.Key("allocatedSize");
        json.Uint(st.blocks * 512 + forkSize);
        json.Key("resourceForkSize");
        json.Uint(forkSize);
    }

    // The creation date: one that was set, else the birth time, else the earlier of the
    // modification and status-change times. A set date that cannot be read leaves it unknown.
    if (AttributeError(attrs, attrs.created)) {
        unreadable.push_back("created");
    } else {
        ZbInstant created = st.hasBirth ? st.born : Earlier(st.modified, st.changed) ? st.modified : st.changed;
        int64_t seconds = 0;
        if (attrs.created.found && Zb7_ParseSetCreationTime(attrs.created.value, seconds)) created = {seconds, 0};
        json.Date("created", created.seconds, created.nanoseconds);
    }
    json.Date("modified", st.modified.seconds, st.modified.nanoseconds);
    json.Date("accessed", st.accessed.seconds, st.accessed.nanoseconds);
    json.Date("changed", st.changed.seconds, st.changed.nanoseconds);

    char octal[8];
    std::snprintf(octal, sizeof octal, "%04o", unsigned(st.mode & 07777));
    json.Key("mode");
    json.Text(octal);
    json.Key("modeText");
    json.Text(ModeText(st.mode));
    std::string owner;
    if (Zb7_PlatformUserName(context.names, st.uid, owner)) json.Name("owner", owner);
    if (Zb7_PlatformGroupName(context.names, st.gid, owner)) json.Name("group", owner);
    json.Key("uid");
    json.Uint(st.uid);
    json.Key("gid");
    json.Uint(st.gid);
    json.Key("inode");
    json.Uint(st.inode);
    json.Key("links");
    json.Uint(st.links);
    json.Key("volume");
    json.Text(facts.volume.name);

    // Finder information: an item without it has all flags clear and no codes.
    const bool finderKnown = AttributeError(attrs, attrs.finderInfo) == 0;
    const ZbFinderInfo finder = FinderInfoOf(attrs);
    const bool dotName = !facts.name.empty() && facts.name[0] == '.';
    const bool link = kind == kZbKindLink;
    if (finderKnown || dotName) {
        json.Key("invisible");
        json.Bool(dotName || (finder.Flags() & kZbFinderFlagInvisible));
    } else {
        unreadable.push_back("invisible");
    }
    json.Key("locked");
    json.Bool(!link && !(st.mode & S_IWUSR));
    if (finderKnown || link) {
        json.Key("alias");
        json.Bool(link || (finder.Flags() & kZbFinderFlagAlias));
    } else {
        unreadable.push_back("alias");
    }
    if (finderKnown) {
        json.Key("label");
        json.Int((finder.Flags() >> 1) & 7);
        json.Key("type");
        json.Text(CodeText(finder.Type()));
        json.Key("creator");
        json.Text(CodeText(finder.Creator()));
    } else {
        for (const char *field : {"label", "type", "creator"}) unreadable.push_back(field);
    }
    if (AttributeError(attrs, attrs.comment)) {
        unreadable.push_back("comment");
    } else {
        std::string comment;
        if (attrs.comment.found && !ZbStringOfBinaryPlist(attrs.comment.value, comment)) comment.clear();
        json.Key("comment");
        json.Text(comment);
    }
    if (link) {
        if (facts.linkError)
            unreadable.push_back("linkTarget");
        else
            json.Name("linkTarget", facts.linkTarget);
    }
    WriteUnreadable(json, unreadable);
    json.EndObject();
}
