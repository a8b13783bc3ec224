// MetaData: the IPTC datasets, EXIF tags, JPEG comments, XMP packet or image URL of an image file,
// as one text in which every item is framed by "##" markers.
#ifndef ZERB_IMAGE_METADATA_READ_H
#define ZERB_IMAGE_METADATA_READ_H

#include <cstddef>
#include <cstdint>

#include "filecore/fsspec.h"
#include "image/jpeg_stream.h"
#include "fmx/fmx.h"
#include "text/encoding.h"

// Photoshop image resources searched for: 0x0404 (IPTC-NAA) and 0x040B (URL).
inline constexpr unsigned char kZbIPTCKey[6] = {'8', 'B', 'I', 'M', 0x04, 0x04};
inline constexpr unsigned char kZbURLKey[6] = {'8', 'B', 'I', 'M', 0x04, 0x0B};

// Everything asked for, from the file: IPTC or URL by the Photoshop resource found anywhere in it,
// then EXIF, comments and XMP from the JPEG header scan (whose result replaces the first one's).
[[nodiscard]] long Zb7_GetMetaData(const FSSpec &ref, const ZbMetaDataSwitch &switches, ZbTextEncoding encoding,
                                   fmx::TextUniquePtr &out);

// The record-2 datasets from the first 1C 02 of the buffer on: "\r##IPTC n\r", the data,
// "\r##END n" for each, until a dataset of another record or the end. -50 for an empty buffer.
[[nodiscard]] long Zb7_ParseIPTC(const unsigned char *buffer, size_t length, ZbTextEncoding encoding,
                                 fmx::TextUniquePtr &out);

// The resource after the key, found at or after start: the offset and length of its data. -2026
// when the key is absent, -207 when the data runs past length.
[[nodiscard]] long Zb7_Get_PSD_Resource(const unsigned char *buffer, size_t start, size_t length,
                                        const unsigned char *key, size_t keyLength, size_t *dataOffset,
                                        size_t *dataLength);

// The EXIF text of length bytes of TIFF data at the reader's position: IFD0 and the Exif
// sub-IFD, each tag as "\r##EXIF tag\r", its value, "\r##END tag". -302 for malformed data or a
// short read, -108 without memory.
[[nodiscard]] long Zb7_Process_EXIF(Zb7RW_Reader &in, uint32_t length, ZbTextEncoding encoding,
                                    fmx::TextUniquePtr &out);
// The same over TIFF data in memory.
[[nodiscard]] long Zb7_ExifToTxt(const unsigned char *data, size_t length, ZbTextEncoding encoding,
                                 fmx::TextUniquePtr &out);

// The XMP text of an APP1 segment's data: the namespace up to the first zero byte, a return, the
// packet after it. -2158 without a zero byte.
[[nodiscard]] long Zb7_XMPToTxt(const unsigned char *data, size_t length, ZbTextEncoding encoding,
                                fmx::TextUniquePtr &out);
// A comment: "\r##JCOM\r", the text, "\r##END ".
void Zb7_CommentToTxt(const unsigned char *data, size_t length, ZbTextEncoding encoding, fmx::TextUniquePtr &out);

#endif
