#include "core/results.h"
#include "platform/errors.h"

#include <cstdio>

std::string XP_OSErrLToCStr(long code) {
    if (code == 0) return "0";
    return "$$" + std::to_string(code);
}

void XP7_OSErrLToTxt(long code, fmx::TextUniquePtr &text) {
    text->Assign(XP_OSErrLToCStr(code).c_str(), fmx::Text::kEncoding_ASCII_Mac);
}

void XP7_OSErrLToData(long code, fmx::Data &result) {
    fmx::TextUniquePtr text;
    XP7_OSErrLToTxt(code, text);
    fmx::LocaleUniquePtr locale;
    result.SetAsText(*text, *locale);
}

void XP7_TxtOrErrorToData(long err, const fmx::TextUniquePtr &text, const fmx::DataVect &parameters,
                          fmx::Data &result) {
    if (err)
        XP7_OSErrLToData(err, result);
    else
        result.SetAsText(*text, parameters.At(0).GetLocale());
}

void XP7_CStrToData(const char *text, fmx::Data &result, fmx::Text::Encoding encoding) {
    fmx::TextUniquePtr t;
    t->Assign(text, encoding);
    fmx::LocaleUniquePtr locale;
    result.SetAsText(*t, *locale);
}

long XP7_WinToMacOSErr(long code) {
    switch (code) {
    case 0: return 0;
    case 2: return kFnfErr;    // file not found
    case 3: return kDirNFErr;   // directory not found
    case 5: return kFBsyErr;    // access denied: file busy
    case 38: return kEofErr;   // end of file
    case 80:
    case 183: return kDupFNErr;  // duplicate file name
    case 87: return kParamErr;   // parameter error
    default: return code;
    }
}

void XP_DisplayMessage(int alertId, int number) {
    std::fprintf(stderr, "Zerb File Plug-In alert %d: could not start its file layer (error %d).\n", alertId,
                 number);
}
