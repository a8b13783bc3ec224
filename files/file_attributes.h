// Changing what the file-information functions read: lock, visibility, codes, comment, label and
// dates of an item, and the process-wide default creator and type list.
#ifndef ZERB_FILES_FILE_ATTRIBUTES_H
#define ZERB_FILES_FILE_ATTRIBUTES_H

#include <cstdint>
#include <string>

#include "filecore/fsspec.h"

// Selectors of ChangeCreatorType: the creator, the type, or both.
enum : short { kZbChangeCreator = 94, kZbChangeType = 95, kZbChangeBoth = 96 };

// Sets the creator, the type or both of a file (-1302 for a folder), keeping the rest of its
// Finder information.
long FSpChangeCreatorType(const FSSpec &ref, short selector, uint32_t creator, uint32_t type);
// Sets the Finder label number (0-7) of an item.
[[nodiscard]] long Zb7_SetFinderLabelNo(const FSSpec &ref, int label);
// Sets the creation date (for SetTimestampCreated and any other id) or the modification date (for
// SetTimestampModified) of an item from local seconds since 1904.
[[nodiscard]] long Zb7_SetCreationOrModificationDate(short functionId, const FSSpec &ref, int64_t localSeconds);
// Sets the Finder comment (UTF-8; an empty comment removes it).
[[nodiscard]] long Zb7_Mac_SetFinderComment(const FSSpec &ref, const std::string &comment);

#endif
