// ConvertFromFMText, ConvertToFMText and AsciiValueToText: functions on text alone.
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "platform/errors.h"
#include "text/encoding.h"

namespace {
constexpr unsigned long kPieceCapacity = 2000;
}

// Both return their text unchanged: the host's text is Unicode on both sides. The switches are
// still read and the encoding evaluated, as callers may pass them.
fmx::errcode ZbFile7_DoConvertFromFMText_ToFMText(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                                  const fmx::DataVect &parameters, fmx::Data &result) {
    char switches[kZbSwitchesCapacity] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
    XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_Native);
    fmx::TextUniquePtr text;
    XP7_GetNextTxtFromVect(parameters, text, &cursor);
    fmx::LocaleUniquePtr locale;
    result.SetAsText(*text, *locale);
    return 0;
}

// Where the next "|" and the next separator stand, remembered from one piece to the next: each is
// searched for again only once the list has been taken past it, so a list is scanned once
// whatever its length. kSize_Invalid: there is none further on.
struct ZbNextStops {
    fmx::uint32 bar = 0, separator = 0;
    bool barKnown = false, separatorKnown = false;
};

fmx::uint32 NextStop(const fmx::TextUniquePtr &list, const fmx::Text &what, fmx::uint32 start, bool ignoreCase,
                     fmx::uint32 &stop, bool &known) {
    if (!known || (stop != fmx::Text::kSize_Invalid && stop < start)) {
        stop = ignoreCase ? list->FindIgnoringCase(what, start) : list->Find(what, start);
        known = true;
    }
    return stop;
}

// Takes the next piece off the list, from *position: up to the separator or "|", whichever comes
// first, and past that one character. Answers 1 when a piece was taken, 0 when the list is done.
int ZbFile7_GetNextASCIIValue(const fmx::TextUniquePtr &list, const fmx::TextUniquePtr &separator, char *buf,
                              unsigned long size, unsigned long *position, ZbNextStops &stops) {
    const fmx::uint32 length = list->GetSize();
    if (*position >= length) return 0;
    fmx::TextUniquePtr bar;
    bar->Assign("|", fmx::Text::kEncoding_ASCII_Mac);
    const fmx::uint32 start = fmx::uint32(*position);
    fmx::uint32 end = NextStop(list, *bar, start, false, stops.bar, stops.barKnown);
    if (separator->GetSize() > 0) {
        const fmx::uint32 at = NextStop(list, *separator, start, true, stops.separator, stops.separatorKnown);
        if (at != fmx::Text::kSize_Invalid && (end == fmx::Text::kSize_Invalid || at < end)) end = at;
    }
    const fmx::uint32 pieceEnd = end == fmx::Text::kSize_Invalid ? length : end;
    list->GetBytes(buf, fmx::uint32(size), start, pieceEnd - start, fmx::Text::kEncoding_Native);
    if (pieceEnd == start && size > 0) buf[0] = 0;
    *position = end == fmx::Text::kSize_Invalid ? length : end + 1;  // the one character that ended it
    return 1;
}

void ZbFile7_AppendByteCharToTxt(unsigned char c, fmx::TextUniquePtr &t, ZbTextEncoding e,
                                 unsigned char better) {
    XP7_AppendCharToTxt(static_cast<char>(c), t, e, better != 0);
}

fmx::errcode ZbFile7_DoAsciiValueToText(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                        const fmx::DataVect &parameters, fmx::Data &result) {
    if (parameters.Size() < 2) {
        XP7_OSErrLToData(kParamErr, result);
        return 0;
    }
    char switches[kZbSwitchesCapacity] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
    const ZbTextEncoding encoding = XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_Native);
    fmx::TextUniquePtr list, separator;
    XP7_GetNextTxtFromVect(parameters, list, &cursor);
    separator->Assign(" ", fmx::Text::kEncoding_ASCII_Mac);
    XP7_GetNextTxtFromVect(parameters, separator, &cursor);

    std::u16string native;  // Native: the codes are Unicode code points, built locally
    fmx::TextUniquePtr text;
    char piece[kPieceCapacity];
    unsigned long position = 0;
    ZbNextStops stops;
    while (ZbFile7_GetNextASCIIValue(list, separator, piece, sizeof piece, &position, stops)) {
        // Read as "%i" reads: blanks skipped, sign, 0x for hexadecimal, a leading 0 for octal.
        char *end = nullptr;
        const long value = std::strtol(piece, &end, 0);
        if (end == piece || value < 0 || value > 255) continue;
        if (encoding == fmx::Text::kEncoding_Native)
            native.push_back(static_cast<char16_t>(value));
        else
            ZbFile7_AppendByteCharToTxt(static_cast<unsigned char>(value), text, encoding, 1);
    }
    if (encoding == fmx::Text::kEncoding_Native) XP7_UnitsToTxt(native, text);
    result.SetAsText(*text, parameters.At(0).GetLocale());
    return 0;
}
