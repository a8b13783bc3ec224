#include "plugin/strings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "core/functions.h"

namespace {

struct ZbStringEntry {
    int id;
    std::u16string_view text;
};

// The options, name and description of the plug-in, and every function's name and prototype as
// the host shows them.
constexpr ZbStringEntry kFile7[] = {
    {1, u"Z7fi1nnYnnn"},
    {128, u"Zerb File Plug-In"},
    {129, u"Zerb File Plug-In " ZERB_VERSION_STRING
          u": file-system functions for calculations. Read and write files in many encodings, list and search "
          u"folders, create, copy, move and delete files and folders, read and change attributes, dates and "
          u"comments, replace text inside files, read and write JPEG metadata, make thumbnails, list "
          u"and mount volumes, launch documents and run shell commands."},
#define ZB_FUNCTION(id, name, group, minimum, maximum, handler, signature) \
    {ZbStringKeyOf(id), u"ZbFile_" #name signature},
#include "core/functions.def"
#undef ZB_FUNCTION
};

// The bundle look-up by key: the key is the format applied to the id, and the table's keys are
// "Zerb File " followed by the entry's number.
const std::u16string_view *FindString(const char *table, const char *keyFormat, unsigned long id) {
    if (!table || std::strcmp(table, kZbStringTable) != 0 || !keyFormat) return nullptr;
    char key[64];
    std::snprintf(key, sizeof key, keyFormat, int(id));
    constexpr char kPrefix[] = "Zerb File ";
    if (std::strncmp(key, kPrefix, sizeof kPrefix - 1) != 0) return nullptr;
    char *end = nullptr;
    const long number = std::strtol(key + sizeof kPrefix - 1, &end, 10);
    if (*end) return nullptr;
    for (const auto &e : kFile7)
        if (e.id == number) return &e.text;
    return nullptr;
}

}  // namespace

long ZbSub_OSXLoadString(const char *table, const char *keyFormat, unsigned long id, unsigned short *buffer,
                         long capacity) {
    if (!buffer || capacity < 2) return 0;
    const std::u16string_view *s = FindString(table, keyFormat, id);
    if (!s) return 0;
    const long length = long(s->size());
    if (length >= capacity - 1) return 0;
    std::memcpy(buffer, s->data(), size_t(length) * sizeof(unsigned short));
    buffer[length] = 0;
    return length;
}

long XP7_Do_GetStringUni(const char *table, const char *keyFormat, unsigned long id, unsigned long /*language*/,
                         long capacity, unsigned short *buffer) {
    if (id == kFMXT_OptionsStr) id = 1;
    return ZbSub_OSXLoadString(table, keyFormat, id, buffer, capacity);
}

void XP7_Do_GetString(const char *table, const char *keyFormat, unsigned long id, fmx::TextUniquePtr &text,
                      bool nameOnly) {
    unsigned short buffer[1024];
    const long length = XP7_Do_GetStringUni(table, keyFormat, id, 0, 1024, buffer);
    text->AssignUnicodeWithLength(buffer, fmx::uint32(length));
    if (nameOnly) {
        fmx::TextUniquePtr paren;
        paren->Assign("(", fmx::Text::kEncoding_ASCII_Mac);
        const fmx::uint32 at = text->Find(*paren, 0);
        if (at != fmx::Text::kSize_Invalid) text->DeleteText(at);
    }
}
