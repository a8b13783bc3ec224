// Tag tables: the TIFF 6.0 baseline and extension tags and the EXIF 2.32 tags of IFD0, IFD1 and the
// Exif IFD (one tag space), the GPS tags, the Interoperability tags, and the IPTC IIM 4.2 datasets
// of the envelope (1) and application (2) records. Each table is sorted by number.
#include "image/exif_tags.h"

#include <algorithm>
#include <iterator>

namespace {

struct TagName {
    uint16_t tag;
    const char *name;
};

constexpr TagName kMainTags[] = {
    {0x00FE, "NewSubfileType"},
    {0x00FF, "SubfileType"},
    {0x0100, "ImageWidth"},
    {0x0101, "ImageLength"},
    {0x0102, "BitsPerSample"},
    {0x0103, "Compression"},
    {0x0106, "PhotometricInterpretation"},
    {0x0107, "Threshholding"},
    {0x0108, "CellWidth"},
    {0x0109, "CellLength"},
    {0x010A, "FillOrder"},
    {0x010D, "DocumentName"},
    {0x010E, "ImageDescription"},
    {0x010F, "Make"},
    {0x0110, "Model"},
    {0x0111, "StripOffsets"},
    {0x0112, "Orientation"},
    {0x0115, "SamplesPerPixel"},
    {0x0116, "RowsPerStrip"},
    {0x0117, "StripByteCounts"},
    {0x0118, "MinSampleValue"},
    {0x0119, "MaxSampleValue"},
    {0x011A, "XResolution"},
    {0x011B, "YResolution"},
    {0x011C, "PlanarConfiguration"},
    {0x011D, "PageName"},
    {0x011E, "XPosition"},
    {0x011F, "YPosition"},
    {0x0120, "FreeOffsets"},
    {0x0121, "FreeByteCounts"},
    {0x0122, "GrayResponseUnit"},
    {0x0123, "GrayResponseCurve"},
    {0x0124, "T4Options"},
    {0x0125, "T6Options"},
    {0x0128, "ResolutionUnit"},
    {0x0129, "PageNumber"},
    {0x012D, "TransferFunction"},
    {0x0131, "Software"},
    {0x0132, "DateTime"},
    {0x013B, "Artist"},
    {0x013C, "HostComputer"},
    {0x013D, "Predictor"},
    {0x013E, "WhitePoint"},
    {0x013F, "PrimaryChromaticities"},
    {0x0140, "ColorMap"},
    {0x0141, "HalftoneHints"},
    {0x0142, "TileWidth"},
    {0x0143, "TileLength"},
    {0x0144, "TileOffsets"},
    {0x0145, "TileByteCounts"},
    {0x014A, "SubIFDs"},
    {0x014C, "InkSet"},
    {0x014D, "InkNames"},
    {0x014E, "NumberOfInks"},
    {0x0150, "DotRange"},
    {0x0151, "TargetPrinter"},
    {0x0152, "ExtraSamples"},
    {0x0153, "SampleFormat"},
    {0x0154, "SMinSampleValue"},
    {0x0155, "SMaxSampleValue"},
    {0x0156, "TransferRange"},
    {0x015B, "JPEGTables"},
    {0x0200, "JPEGProc"},
    {0x0201, "JPEGInterchangeFormat"},
    {0x0202, "JPEGInterchangeFormatLength"},
    {0x0203, "JPEGRestartInterval"},
    {0x0205, "JPEGLosslessPredictors"},
    {0x0206, "JPEGPointTransforms"},
    {0x0207, "JPEGQTables"},
    {0x0208, "JPEGDCTables"},
    {0x0209, "JPEGACTables"},
    {0x0211, "YCbCrCoefficients"},
    {0x0212, "YCbCrSubSampling"},
    {0x0213, "YCbCrPositioning"},
    {0x0214, "ReferenceBlackWhite"},
    {0x02BC, "XMLPacket"},
    {0x8298, "Copyright"},
    {0x829A, "ExposureTime"},
    {0x829D, "FNumber"},
    {0x83BB, "IPTC-NAA"},
    {0x8649, "ImageResources"},
    {0x8769, "ExifIFDPointer"},
    {0x8773, "InterColorProfile"},
    {0x8822, "ExposureProgram"},
    {0x8824, "SpectralSensitivity"},
    {0x8825, "GPSInfoIFDPointer"},
    {0x8827, "PhotographicSensitivity"},
    {0x8828, "OECF"},
    {0x8830, "SensitivityType"},
    {0x8831, "StandardOutputSensitivity"},
    {0x8832, "RecommendedExposureIndex"},
    {0x8833, "ISOSpeed"},
    {0x8834, "ISOSpeedLatitudeyyy"},
    {0x8835, "ISOSpeedLatitudezzz"},
    {0x9000, "ExifVersion"},
    {0x9003, "DateTimeOriginal"},
    {0x9004, "DateTimeDigitized"},
    {0x9010, "OffsetTime"},
    {0x9011, "OffsetTimeOriginal"},
    {0x9012, "OffsetTimeDigitized"},
    {0x9101, "ComponentsConfiguration"},
    {0x9102, "CompressedBitsPerPixel"},
    {0x9201, "ShutterSpeedValue"},
    {0x9202, "ApertureValue"},
    {0x9203, "BrightnessValue"},
    {0x9204, "ExposureBiasValue"},
    {0x9205, "MaxApertureValue"},
    {0x9206, "SubjectDistance"},
    {0x9207, "MeteringMode"},
    {0x9208, "LightSource"},
    {0x9209, "Flash"},
    {0x920A, "FocalLength"},
    {0x9214, "SubjectArea"},
    {0x927C, "MakerNote"},
    {0x9286, "UserComment"},
    {0x9290, "SubSecTime"},
    {0x9291, "SubSecTimeOriginal"},
    {0x9292, "SubSecTimeDigitized"},
    {0x9400, "Temperature"},
    {0x9401, "Humidity"},
    {0x9402, "Pressure"},
    {0x9403, "WaterDepth"},
    {0x9404, "Acceleration"},
    {0x9405, "CameraElevationAngle"},
    {0xA000, "FlashpixVersion"},
    {0xA001, "ColorSpace"},
    {0xA002, "PixelXDimension"},
    {0xA003, "PixelYDimension"},
    {0xA004, "RelatedSoundFile"},
    {0xA005, "InteroperabilityIFDPointer"},
    {0xA20B, "FlashEnergy"},
    {0xA20C, "SpatialFrequencyResponse"},
    {0xA20E, "FocalPlaneXResolution"},
    {0xA20F, "FocalPlaneYResolution"},
    {0xA210, "FocalPlaneResolutionUnit"},
    {0xA214, "SubjectLocation"},
    {0xA215, "ExposureIndex"},
    {0xA217, "SensingMethod"},
    {0xA300, "FileSource"},
    {0xA301, "SceneType"},
    {0xA302, "CFAPattern"},
    {0xA401, "CustomRendered"},
    {0xA402, "ExposureMode"},
    {0xA403, "WhiteBalance"},
    {0xA404, "DigitalZoomRatio"},
    {0xA405, "FocalLengthIn35mmFilm"},
    {0xA406, "SceneCaptureType"},
    {0xA407, "GainControl"},
    {0xA408, "Contrast"},
    {0xA409, "Saturation"},
    {0xA40A, "Sharpness"},
    {0xA40B, "DeviceSettingDescription"},
    {0xA40C, "SubjectDistanceRange"},
    {0xA420, "ImageUniqueID"},
    {0xA430, "CameraOwnerName"},
    {0xA431, "BodySerialNumber"},
    {0xA432, "LensInfo"},
    {0xA433, "LensMake"},
    {0xA434, "LensModel"},
    {0xA435, "LensSerialNumber"},
    {0xA460, "CompositeImage"},
    {0xA461, "SourceImageNumberOfCompositeImage"},
    {0xA462, "SourceExposureTimesOfCompositeImage"},
    {0xA500, "Gamma"},
};

constexpr TagName kGpsTags[] = {
    {0, "GPSVersionID"},        {1, "GPSLatitudeRef"},        {2, "GPSLatitude"},
    {3, "GPSLongitudeRef"},     {4, "GPSLongitude"},          {5, "GPSAltitudeRef"},
    {6, "GPSAltitude"},         {7, "GPSTimeStamp"},          {8, "GPSSatellites"},
    {9, "GPSStatus"},           {10, "GPSMeasureMode"},       {11, "GPSDOP"},
    {12, "GPSSpeedRef"},        {13, "GPSSpeed"},             {14, "GPSTrackRef"},
    {15, "GPSTrack"},           {16, "GPSImgDirectionRef"},   {17, "GPSImgDirection"},
    {18, "GPSMapDatum"},        {19, "GPSDestLatitudeRef"},   {20, "GPSDestLatitude"},
    {21, "GPSDestLongitudeRef"}, {22, "GPSDestLongitude"},    {23, "GPSDestBearingRef"},
    {24, "GPSDestBearing"},     {25, "GPSDestDistanceRef"},   {26, "GPSDestDistance"},
    {27, "GPSProcessingMethod"}, {28, "GPSAreaInformation"},  {29, "GPSDateStamp"},
    {30, "GPSDifferential"},    {31, "GPSHPositioningError"},
};

constexpr TagName kInteropTags[] = {
    {0x0001, "InteroperabilityIndex"}, {0x0002, "InteroperabilityVersion"}, {0x1000, "RelatedImageFileFormat"},
    {0x1001, "RelatedImageWidth"},     {0x1002, "RelatedImageLength"},
};

template <size_t N>
const char *Look(const TagName (&table)[N], uint16_t tag) {
    const auto it = std::lower_bound(std::begin(table), std::end(table), tag,
                                     [](const TagName &t, uint16_t key) { return t.tag < key; });
    return it != std::end(table) && it->tag == tag ? it->name : nullptr;
}

template <size_t N>
constexpr bool Sorted(const TagName (&table)[N]) {
    for (size_t k = 1; k < N; ++k)
        if (table[k - 1].tag >= table[k].tag) return false;
    return true;
}
static_assert(Sorted(kMainTags) && Sorted(kGpsTags) && Sorted(kInteropTags), "tag tables must be sorted");

struct IptcName {
    uint16_t key;  // record << 8 | dataset
    const char *name;
    ZbIptcKind kind;
};

constexpr ZbIptcKind T = ZbIptcKind::text, N = ZbIptcKind::number, B = ZbIptcKind::binary;

constexpr IptcName kIptc[] = {
    {0x0100, "EnvelopeRecordVersion", N},
    {0x0105, "Destination", T},
    {0x0114, "FileFormat", N},
    {0x0116, "FileVersion", N},
    {0x011E, "ServiceIdentifier", T},
    {0x0128, "EnvelopeNumber", T},
    {0x0132, "ProductID", T},
    {0x013C, "EnvelopePriority", T},
    {0x0146, "DateSent", T},
    {0x0150, "TimeSent", T},
    {0x015A, "CodedCharacterSet", T},
    {0x0164, "UniqueObjectName", T},
    {0x0178, "ARMIdentifier", N},
    {0x017A, "ARMVersion", N},
    {0x0200, "ApplicationRecordVersion", N},
    {0x0203, "ObjectTypeReference", T},
    {0x0204, "ObjectAttributeReference", T},
    {0x0205, "ObjectName", T},
    {0x0207, "EditStatus", T},
    {0x0208, "EditorialUpdate", T},
    {0x020A, "Urgency", T},
    {0x020C, "SubjectReference", T},
    {0x020F, "Category", T},
    {0x0214, "SupplementalCategories", T},
    {0x0216, "FixtureIdentifier", T},
    {0x0219, "Keywords", T},
    {0x021A, "ContentLocationCode", T},
    {0x021B, "ContentLocationName", T},
    {0x021E, "ReleaseDate", T},
    {0x0223, "ReleaseTime", T},
    {0x0225, "ExpirationDate", T},
    {0x0226, "ExpirationTime", T},
    {0x0228, "SpecialInstructions", T},
    {0x022A, "ActionAdvised", T},
    {0x022D, "ReferenceService", T},
    {0x022F, "ReferenceDate", T},
    {0x0232, "ReferenceNumber", T},
    {0x0237, "DateCreated", T},
    {0x023C, "TimeCreated", T},
    {0x023E, "DigitalCreationDate", T},
    {0x023F, "DigitalCreationTime", T},
    {0x0241, "OriginatingProgram", T},
    {0x0246, "ProgramVersion", T},
    {0x024B, "ObjectCycle", T},
    {0x0250, "By-line", T},
    {0x0255, "By-lineTitle", T},
    {0x025A, "City", T},
    {0x025C, "Sub-location", T},
    {0x025F, "Province-State", T},
    {0x0264, "Country-PrimaryLocationCode", T},
    {0x0265, "Country-PrimaryLocationName", T},
    {0x0267, "OriginalTransmissionReference", T},
    {0x0269, "Headline", T},
    {0x026E, "Credit", T},
    {0x0273, "Source", T},
    {0x0274, "CopyrightNotice", T},
    {0x0276, "Contact", T},
    {0x0278, "Caption-Abstract", T},
    {0x0279, "LocalCaption", T},
    {0x027A, "Writer-Editor", T},
    {0x027D, "RasterizedCaption", B},
    {0x0282, "ImageType", T},
    {0x0283, "ImageOrientation", T},
    {0x0287, "LanguageIdentifier", T},
    {0x0296, "AudioType", T},
    {0x0297, "AudioSamplingRate", T},
    {0x0298, "AudioSamplingResolution", T},
    {0x0299, "AudioDuration", T},
    {0x029A, "AudioOutcue", T},
    {0x02B8, "JobID", T},
    {0x02B9, "MasterDocumentID", T},
    {0x02BA, "ShortDocumentID", T},
    {0x02BB, "UniqueDocumentID", T},
    {0x02BC, "OwnerID", T},
    {0x02C8, "ObjectPreviewFileFormat", N},
    {0x02C9, "ObjectPreviewFileVersion", N},
    {0x02CA, "ObjectPreviewData", B},
};

constexpr bool IptcSorted() {
    for (size_t k = 1; k < std::size(kIptc); ++k)
        if (kIptc[k - 1].key >= kIptc[k].key) return false;
    return true;
}
static_assert(IptcSorted(), "the IPTC table must be sorted");

}  // namespace

const char *Zb7_ExifIfdName(ZbExifIfd ifd) {
    switch (ifd) {
        case ZbExifIfd::ifd0: return "IFD0";
        case ZbExifIfd::exif: return "Exif";
        case ZbExifIfd::gps: return "GPS";
        case ZbExifIfd::interop: return "Interoperability";
        case ZbExifIfd::ifd1: return "IFD1";
    }
    return "";
}

const char *Zb7_ExifTagName(ZbExifIfd ifd, uint16_t tag) {
    switch (ifd) {
        case ZbExifIfd::gps: return Look(kGpsTags, tag);
        case ZbExifIfd::interop: return Look(kInteropTags, tag);
        default: return Look(kMainTags, tag);
    }
}

ZbIptcDataset Zb7_IptcDataset(unsigned record, unsigned dataset) {
    const uint16_t key = uint16_t((record & 0xFF) << 8 | (dataset & 0xFF));
    const auto it = std::lower_bound(std::begin(kIptc), std::end(kIptc), key,
                                     [](const IptcName &n, uint16_t k) { return n.key < k; });
    if (it != std::end(kIptc) && it->key == key) return {it->name, it->kind};
    // Dataset 0 of any record is the record's version, a binary number.
    return {nullptr, dataset == 0 ? ZbIptcKind::number : ZbIptcKind::text};
}
