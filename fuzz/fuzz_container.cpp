// The container-text readers. Any text they accept must give a container that writes back to a text
// which reads again to the same streams; a refused text leaves the container as it was.
#include <string>
#include <vector>

#include "fuzz/fuzz_common.h"
#include "text/codecs.h"

namespace {

struct Stream {
    uint32_t type;
    std::vector<unsigned char> bytes;
    bool operator==(const Stream &) const = default;
};

std::vector<Stream> StreamsOf(const fmx::BinaryData &b) {
    std::vector<Stream> streams;
    fmx::QuadCharUniquePtr q;
    for (fmx::int32 i = 0; i < b.GetCount(); ++i) {
        b.GetType(i, *q);
        Stream s{q->GetMacType(), std::vector<unsigned char>(b.GetSize(i))};
        ZB_FUZZ_CHECK(b.GetData(i, 0, fmx::uint32(s.bytes.size()), s.bytes.data()) == 0);
        streams.push_back(std::move(s));
    }
    return streams;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const zbfuzz::Input in = zbfuzz::Split(data, size);
    const bool hex = (in.options & 1) != 0;
    const fmx::TextUniquePtr text = zbfuzz::Txt(in.units);

    // Start from a container with one stream, which a refused text must not touch.
    fmx::BinaryDataUniquePtr read;
    unsigned char marker[] = {1, 2, 3};
    ZB_FUZZ_CHECK(read->Add(*fmx::QuadCharUniquePtr('M', 'A', 'R', 'K'), 3, marker) == 0);
    const std::vector<Stream> before = StreamsOf(*read);
    const long err = hex ? XP7_HxtTxtToBinary(text, read) : XP7_Base64TxtToFMBinaryData(text, read);
    ZB_FUZZ_CHECK(err == 0 || err == -50);
    if (err != 0) {
        ZB_FUZZ_CHECK(StreamsOf(*read) == before);
        return 0;
    }
    const std::vector<Stream> streams = StreamsOf(*read);
    ZB_FUZZ_CHECK(!streams.empty());

    // Write it in both forms and read each back.
    fmx::DataUniquePtr value;
    value->SetBinaryData(*read);
    fmx::DataVectUniquePtr parms;
    parms->PushBack(*value);
    for (const bool asHex : {false, true}) {
        fmx::TextUniquePtr again;
        unsigned long index = 0;
        ZB_FUZZ_CHECK((asHex ? XP7_GetBinaryAsHxtTxtFromVect(*parms, again, &index)
                             : XP7_GetFMBinaryDataAsBase64TxtFromVect(*parms, again, &index)) == 0);
        fmx::BinaryDataUniquePtr back;
        ZB_FUZZ_CHECK((asHex ? XP7_HxtTxtToBinary(again, back) : XP7_Base64TxtToFMBinaryData(again, back)) == 0);
        ZB_FUZZ_CHECK(StreamsOf(*back) == streams);
    }
    return 0;
}
