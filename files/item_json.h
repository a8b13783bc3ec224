// One item described as a JSON object: what FileInfoJSON answers and what each entry of
// ListFolderJSON holds (all of it with "-Info", else name, path, kind, size and modified). The
// facts are read with one statx, one listxattr (and only the attributes the item has), and a
// readlink for a link; a fact that cannot be read is left out and named in "unreadable".
#ifndef ZERB_FILES_ITEM_JSON_H
#define ZERB_FILES_ITEM_JSON_H

#include <cstdint>
#include <string>

#include "platform/folder_reader.h"
#include "platform/item_status.h"
#include "platform/volumes.h"
#include "text/json.h"

// What one call shares between the items it describes.
struct ZbItemJsonContext {
    std::string startupNameAndColon;  // the start of colon paths on the startup volume
    ZbIdNames names;                  // user and group names looked up so far
    ZbItemJsonContext();
};

struct ZbItemFacts {
    // Set by the caller.
    std::string name;  // the name shown (on disk; a volume's root: the volume's name)
    std::string path;  // absolute POSIX path
    ZbVolume volume;   // the volume it lies on
    bool full = false;     // every field, not only name, path, kind, size and modified
    bool follow = false;   // what a symbolic link leads to, instead of the link
    // Read by Zb7_ReadItemFacts.
    int statusError = 0;   // the errno that refused the status; the kind then comes from the folder entry
    ZbItemStatus status;
    ZbItemAttributes attributes;  // full only
    int linkError = 0;
    std::string linkTarget;       // full only, links only
};

// Reads what the description needs: through the open folder and the entry's name when `folder`
// is given and open, else through the absolute path. Answers the status's errno (0 when read);
// the attributes and link target are read only when the status was.
int Zb7_ReadItemFacts(const ZbFolderHandle *folder, ZbItemFacts &facts);

// The Finder flags in the attributes (0 when the item has no Finder information, or it could not
// be read).
uint16_t Zb7_FinderFlagsOf(const ZbItemAttributes &attributes);

// Writes the item's object. `entryKind` gives the kind when the status could not be read.
void Zb7_WriteItemJSON(ZbJson &json, const ZbItemFacts &facts, ZbEntryKind entryKind, ZbItemJsonContext &context);

// The name of a kind as the answers write it: file, folder, link, fifo, socket, device.
const char *Zb7_ItemKindName(ZbItemKind kind);

#endif
