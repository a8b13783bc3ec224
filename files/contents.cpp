// GetContents, SetContents and AppendContents: text between a file's data and the calculation.
#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "filecore/fork_io.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/forks.h"
#include "core/globals.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "text/encoding.h"
#include "text/line_ends.h"

namespace {

// An optional offset or length parameter: its number as an unsigned 32-bit value; a value that is
// negative as a signed 32-bit number is refused.
long RangeParameter(const fmx::DataVect &parameters, unsigned long index, uint32_t &value) {
    if (index >= parameters.Size()) return 0;
    value = uint32_t(parameters.AtAsNumber(fmx::uint32(index)).AsLong64());
    return int32_t(value) < 0 ? kZbErrNegativeRange : kNoErr;
}

long GetContents(const fmx::DataVect &parameters, fmx::TextUniquePtr &text) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr path;
    unsigned long cursor = 0;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, path, cursor)) return kParamErr;
    const ZbTextEncoding encoding = XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_Native);
    FSSpec ref;
    if (const long err = XP7_TxtToItem(*path, ref, kZbShortNameLength)) return err;
    uint32_t offset = 0, length = kZbToTheEnd;
    if (const long err = RangeParameter(parameters, 2, offset)) return err;
    if (const long err = RangeParameter(parameters, 3, length)) return err;
    if (const long err = XP7_ReadFileToTxt(ref, offset, length, encoding, text)) return err;
    if (XP_HasSwitch(switches, "-ConvertToFMPLinebreaks")) XP7_ChangeLineEndsTxt(text, kZbLineEndsToHost);
    return 0;
}

// The text's bytes in the encoding, at most twice its character count plus 10 (so an encoding of
// more than two bytes a character cuts a long text there). A one-byte encoding gives every
// character, zero bytes included; the others stop at the first zero byte.
long TextToBytes(const fmx::TextUniquePtr &text, ZbTextEncoding encoding, std::string &bytes) {
    const size_t limit = size_t(text->GetSize()) * 2 + 10;
    try {
        bytes.resize(limit);
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
    unsigned long length = 0;
    XP7_TxtToBlock(text, encoding, limit, reinterpret_cast<unsigned char *>(bytes.data()), &length);
    bytes.resize(length);
    if (!XP7_IsOneCharIsOneByteEncoding(encoding)) bytes.resize(std::strlen(bytes.c_str()));
    return 0;
}

// Writes the text to the default file: replacing its contents, or after them. The file is not
// created. Its size is set first, then the bytes written; a failure leaves it as far as it got.
long XP7_WriteTxtToDefaultFile(const fmx::TextUniquePtr &text, ZbTextEncoding encoding, bool append) {
    FSSpec target;
    {
        ZbFrameLock lock(gFrameMutex);
        target = gDefaultFSSpec;
    }
    std::string path;
    if (ZbIsClearedFSSpec(target)) return kFnfErr;  // no default file was set
    if (const long err = Zb7_FSSpecToPOSIXPath(target, path)) return err;
    ZbFork fork;
    if (const long err = Zb7_PlatformOpenDataFork(path, true, fork)) return err;
    std::string bytes;
    if (const long err = TextToBytes(text, encoding, bytes)) return err;
    int64_t size = 0;
    if (const long err = Zb7_PlatformForkSize(fork, size)) return err;
    const int64_t mark = append ? size : 0;
    if (const long err = Zb7_PlatformSetForkSize(fork, mark + int64_t(bytes.size()))) return err;
    return Zb7_PlatformWriteFork(fork, mark, bytes.data(), bytes.size());
}

long WriteContents(const fmx::DataVect &parameters, bool append) {
    if (parameters.Size() < 2) return kParamErr;
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
    ZbTextEncoding encoding = XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_Native);
    if (!append && XP_HasSwitch(switches, "-Encoding=BytesOnly")) encoding = kZbEncodingBytesOnly;
    fmx::TextUniquePtr text;
    XP7_GetNextTxtFromVect(parameters, text, &cursor);
    if (XP_HasSwitch(switches, "-CRtoCRLF"))
        XP7_ChangeLineEndsTxt(text, kZbLineEndsCRtoCRLF);
    else if (XP_HasSwitch(switches, "-CRLFtoCR"))
        XP7_ChangeLineEndsTxt(text, kZbLineEndsCRLFtoCR);
    return XP7_WriteTxtToDefaultFile(text, encoding, append);
}

}  // namespace

fmx::errcode ZbFile7_DoGetContents(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                   fmx::Data &result) {
    fmx::TextUniquePtr text;
    XP7_TxtOrErrorToData(GetContents(parameters, text), text, parameters, result);
    return 0;
}

fmx::errcode ZbFile7_DoSetContents(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                   fmx::Data &result) {
    XP7_OSErrLToData(WriteContents(parameters, false), result);
    return 0;
}

fmx::errcode ZbFile7_DoAppendContents(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                      const fmx::DataVect &parameters, fmx::Data &result) {
    XP7_OSErrLToData(WriteContents(parameters, true), result);
    return 0;
}
