#include "plugin/strings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

struct ZbStringEntry {
    int id;
    std::u16string_view text;
};

// Function names and prototypes as the host shows them; braces mark optional parameters.
constexpr ZbStringEntry kFile7[] = {
    {1, u"Z7fi1nnYnnn"},
    {128, u"Zerb File Plug-In"},
    {129, u"Zerb File Plug-In " ZERB_VERSION_STRING
          u": file-system functions for calculations. Read and write files in many encodings, list and search "
          u"folders, create, copy, move and delete files and folders, read and change attributes, dates and "
          u"comments, replace text inside files, read and write JPEG metadata, make thumbnails, list "
          u"and mount volumes, launch documents and run shell commands."},
    {4201, u"ZbFile_AppendContents( switches ; text )"},
    {4202, u"ZbFile_ContentsDialog( switches {; prompt ; location } )"},
    {4203, u"ZbFile_Control( switches {; password } )"},
    {4204, u"ZbFile_ConvertFromFMText( switches ; text )"},
    {4205, u"ZbFile_ConvertToFMText( switches ; text )"},
    {4210, u"ZbFile_CopyFile( switches ; source ; destination )"},
    {4211, u"ZbFile_CreateFile( switches ; path )"},
    {4212, u"ZbFile_CreateFolder( switches ; path )"},
    {4213, u"ZbFile_DeleteFile( switches ; path )"},
    {4214, u"ZbFile_DeleteFolder( switches ; path )"},
    {4215, u"ZbFile_DiskInfo( switches ; volumeName )"},
    {4216, u"ZbFile_Exists( switches ; path )"},
    {4220, u"ZbFile_FileSpecToFullPath( switches ; path )"},
    {4221, u"ZbFile_FindFolder( switches )"},
    {4222, u"ZbFile_FullPathToFileSpec( switches ; path )"},
    {4223, u"ZbFile_GetContents( switches ; path {; start ; length } )"},
    {4224, u"ZbFile_GetFileSize( switches ; path )"},
    {4230, u"ZbFile_GetDateCreated( switches ; path )"},
    {4231, u"ZbFile_GetDateModified( switches ; path )"},
    {4232, u"ZbFile_GetTimestampCreated( switches ; path )"},
    {4233, u"ZbFile_GetTimestampModified( switches ; path )"},
    {4234, u"ZbFile_GetFileAttribute( switches ; path )"},
    {4240, u"ZbFile_GetFileCreator( switches ; path )"},
    {4241, u"ZbFile_GetFileSizeTotal( switches ; path )"},
    {4242, u"ZbFile_GetFileType( switches ; path )"},
    {4243, u"ZbFile_GetPathTo( switches {; fileName ; number } )"},
    {4244, u"ZbFile_GetResourceForkSize( switches ; path )"},
    {4250, u"ZbFile_GetTimeCreated( switches ; path )"},
    {4251, u"ZbFile_GetTimeModified( switches ; path )"},
    {4252, u"ZbFile_Launch( switches ; path {; options } )"},
    {4253, u"ZbFile_ListDisks( switches )"},
    {4254, u"ZbFile_ListFolder( switches ; path )"},
    {4260, u"ZbFile_MetaData( switches ; path )"},
    {4261, u"ZbFile_MountDisk( switches ; zone ; server ; volume {; user ; password } )"},
    {4262, u"ZbFile_MoveFile( switches ; source ; destination )"},
    {4263, u"ZbFile_ReferenceToClip( switches ; path {; options } )"},
    {4264, u"ZbFile_SaveFileDialog( switches ; prompt {; defaultName ; location } )"},
    {4270, u"ZbFile_Search( switches ; volume ; name )"},
    {4271, u"ZbFile_SelectFileDialog( switches ; prompt {; location } )"},
    {4272, u"ZbFile_SelectFolderDialog( switches ; prompt {; location } )"},
    {4273, u"ZbFile_SetContents( switches ; text )"},
    {4274, u"ZbFile_SetDefaultCreator( switches ; creator )"},
    {4280, u"ZbFile_SetDefaultFileSpec( switches ; path )"},
    {4281, u"ZbFile_SetDefaultType( switches ; types )"},
    {4282, u"ZbFile_SetFileAttribute( switches ; path {; value ; reserved } )"},
    {4283, u"ZbFile_Substitute( switches ; source ; destination ; search ; replacement )"},
    {4284, u"ZbFile_CreateThumbnail( switches ; path )"},
    {4285, u"ZbFile_SetTimestampCreated( switches ; path ; timestamp )"},
    {4286, u"ZbFile_SetTimestampModified( switches ; path ; timestamp )"},
    {4287, u"ZbFile_SetMetaData( switches ; source ; destination ; metadata )"},
    {4290, u"ZbFile_UnmountDisk( switches ; volumeName )"},
    {4291, u"ZbFile_GetDateLastAccessed( switches ; path )"},
    {4292, u"ZbFile_GetTimeLastAccessed( switches ; path )"},
    {4293, u"ZbFile_GetTimestampLastAccessed( switches ; path )"},
    {4294, u"ZbFile_AsciiValueToText( switches ; values {; separator } )"},
    {4295, u"ZbFile_ExecuteShell( switches ; command )"},
    {4296, u"ZbFile_CopyFolder( switches ; source ; destination )"},
    {9000, u"ZbFile_VersionNoParams"},
    {9001, u"ZbFile_Version( switches )"},
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
