// Line-end conversion: the host's line break is CR; files and shells use CR LF or LF.
#ifndef ZERB_TEXT_LINE_ENDS_H
#define ZERB_TEXT_LINE_ENDS_H

#include "fmx/fmx.h"

enum : short {
    kZbLineEndsCRtoCRLF = 1,
    kZbLineEndsCRLFtoCR = 2,
    kZbLineEndsLFtoCR = 3,
    kZbLineEndsToHost = 9,  // CR LF and lone LF become CR
};

// In place on host text, in one pass. Any mode other than 2, 3 and 9 works as mode 1.
void XP7_ChangeLineEndsTxt(fmx::TextUniquePtr &text, short mode);
void XP_CRLFToCR(char *buf, long *len);
void XP_CRToCRLF(const char *src, char *dst, long *len, long dstSize);

#endif
