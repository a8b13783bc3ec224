// SetMetaData: IPTC (as a Photoshop resource in an APP13 segment) or a JPEG comment written into a
// copy of a JPEG file, segment by segment; in place through a new file exchanged with the source.
#ifndef ZERB_IMAGE_METADATA_WRITE_H
#define ZERB_IMAGE_METADATA_WRITE_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "filecore/fork_io.h"
#include "filecore/fork_writer.h"
#include "image/jpeg_stream.h"
#include "platform/forks.h"
#include "fmx/fmx.h"
#include "text/encoding.h"

// The writer of one copy, in blocks of 64 KiB.
struct Zb7RW_Writer : ZbForkWriter {
    explicit Zb7RW_Writer(const ZbFork &fork) : ZbForkWriter(fork, 64 * 1024) {}
};
[[nodiscard]] long Zb7RW_Write_1_byte(Zb7RW_Writer &out, unsigned char c);
[[nodiscard]] long Zb7RW_Write_2_bytes(Zb7RW_Writer &out, unsigned int value);
[[nodiscard]] long Zb7RW_Write_n_bytes(Zb7RW_Writer &out, const unsigned char *bytes, size_t n);
[[nodiscard]] long Zb7RW_Flush(Zb7RW_Writer &out);
// The rest of the input, from the reader's position to the end of the file.
[[nodiscard]] long Zb7RW_CopyRestOfFile(Zb7RW_Reader &in, Zb7RW_Writer &out);

// The IPTC block of a text in MetaData's layout ("##IPTC n", a return, the value, "\r##END"):
// the record-version dataset, then one record-2 dataset per item (an item numbered 0 gives its
// value to the record version instead). An empty text gives an empty block.
std::string Zb7JPEG_IptcData_CreateIPTCRecordFromTxt(const fmx::Text &text, ZbTextEncoding encoding);

// The copying scan: SOI and the segments before the image copied; mode 0 (comment) drops the COM
// segments, mode 1 (IPTC) puts the block into the first Photoshop APP13 segment or, when there is
// none before the frame header, into a new one there. *marker is where it stopped.
[[nodiscard]] long Zb7JPEG_ScanJPEGHeaderAndWriteOut(Zb7RW_Reader &in, Zb7RW_Writer &out, int mode,
                                                     std::string_view iptc, unsigned char *marker);

// The whole copy with the new IPTC block (comment false) or comment bytes (comment true).
[[nodiscard]] long Zb7JPEG_WriteJPEGMetaData(Zb7RW_Reader &in, Zb7RW_Writer &out, bool comment, std::string_view data);

#endif
