// Hex, byte texts, base64 and the container text: edge cases, round trips, the line rules of both
// base64 writers, and malformed input, which must answer -50 and leave the output alone.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "fmx/fmx.h"
#include "text/charsets.h"
#include "text/codecs.h"
#include "text/encoding.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr auto kMac = fmx::Text::kEncoding_ASCII_Mac;

fmx::TextUniquePtr Txt(const std::u16string &units) {
    fmx::TextUniquePtr t;
    XP7_UnitsToTxt(units, t);
    return t;
}
std::u16string U(const fmx::TextUniquePtr &t) { return XP7_TxtToUnits(*t); }
std::u16string Ascii(const std::string &s) { return std::u16string(s.begin(), s.end()); }

Bytes Random(std::mt19937 &rng, size_t n, bool manyZeros = false) {
    Bytes b(n);
    for (auto &x : b) x = manyZeros && rng() % 4 == 0 ? 0 : uint8_t(rng());
    return b;
}

std::string Encode(const Bytes &in, int lineLen) {
    std::string out(ZbBase64EncodedLength(in.data(), in.size(), lineLen) + 1, '\0');
    unsigned long n = 0;
    EXPECT_EQ(XP7_Base64_EncodeBlock(in.data(), in.size(), reinterpret_cast<unsigned char *>(out.data()), out.size(),
                                     &n, lineLen),
              0);
    out.resize(n);
    return out;
}

// A literal encoder, bit by bit, with the same line rule: the oracle for the table-driven one.
std::string PlainEncode(const Bytes &in, int lineLen) {
    const char *alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    int count = 0;
    for (size_t i = 0; i < in.size(); i += 3) {
        const size_t n = std::min<size_t>(3, in.size() - i);
        for (size_t k = 0; k < 4; ++k) {
            if (k > n) {
                out += '=';
                continue;
            }
            unsigned v = 0;
            for (size_t bit = 6 * k; bit < 6 * k + 6; ++bit)
                v = v << 1 | (bit / 8 < n ? (in[i + bit / 8] >> (7 - bit % 8)) & 1 : 0);
            out += alphabet[v];
        }
        if (++count == lineLen / 4 || (i + 3 < in.size() && in[i + 3] == 0)) {
            out += "\r\n";
            count = 0;
        }
    }
    return out;
}

// ---- hex ----

TEST(CodecHex, WritesUpperCaseAndReadsEitherCase) {
    fmx::TextUniquePtr t = Txt(u"x");
    const char bytes[] = {0x00, char(0xAB)};
    XP7_BlockToHexTxt(bytes, 2, t);
    EXPECT_EQ(U(t), u"x00AB");

    t = Txt(u"0aFf1");
    unsigned long pos = 0;
    EXPECT_EQ(XP7_Get1HexTxtChar(t, &pos), 0x0A);
    EXPECT_EQ(XP7_Get1HexTxtChar(t, &pos), 0xFF);
    EXPECT_EQ(pos, 4u);
    EXPECT_EQ(XP7_Get1HexTxtChar(t, &pos), -50);  // one digit left
    EXPECT_EQ(pos, 4u);
}

TEST(CodecHex, RoundTripsAndRefusesMalformedText) {
    std::mt19937 rng(7);
    for (size_t n : {0, 1, 2, 255, 4099}) {
        const Bytes b = Random(rng, n);
        fmx::TextUniquePtr t;
        XP7_BlockToHexTxt(reinterpret_cast<const char *>(b.data()), b.size(), t);
        Bytes back{9};
        ASSERT_EQ(XP7_HexTxtToBlock(t, back), 0);
        EXPECT_EQ(back, b);
    }
    // U+0131 has the low byte of "1": a character above 255 is no digit.
    for (const std::u16string bad : {u"ABC", u"0G", u"12 34", u"1\u0131", u"\u0100"}) {
        Bytes out{9};
        EXPECT_EQ(XP7_HexTxtToBlock(Txt(bad), out), -50) << std::string(bad.begin(), bad.end());
        EXPECT_EQ(out, Bytes{9});
    }
}

TEST(CodecHex, RemoveHexTxtMakesAByteTextInPlace) {
    fmx::TextUniquePtr t = Txt(u"41 00\r\nfF");
    EXPECT_EQ(XP7_RemoveHexTxt(t, 0), -50);
    EXPECT_EQ(U(t), u"41 00\r\nfF");
    EXPECT_EQ(XP7_RemoveHexTxt(t, 1), 0);
    EXPECT_EQ(U(t), std::u16string(u"A\0\u00FF", 3));
}

// ---- byte texts ----

TEST(CodecBinTxt, ByteTextsCarryEveryByte) {
    std::mt19937 rng(3);
    const Bytes b = Random(rng, 300, true);
    fmx::TextUniquePtr t;
    XP7_BlockToBinTxt(reinterpret_cast<const char *>(b.data()), b.size(), t, kZbEncodingBytesOnly);
    ASSERT_EQ(t->GetSize(), 300u);

    Bytes back(320, 7);
    unsigned long pos = 0;
    EXPECT_EQ(XP7_BinTxtToBlock(t, &pos, 200, back.data()), 200u);
    EXPECT_EQ(XP7_BinTxtToBlock(t, &pos, 120, back.data() + 200), 100u);  // the rest, then zeros
    EXPECT_EQ(pos, 300u);
    EXPECT_TRUE(std::equal(b.begin(), b.end(), back.begin()));
    EXPECT_EQ(Bytes(back.begin() + 300, back.end()), Bytes(20, 0));

    t = Txt(u"a\u20ACb\u00E9");
    EXPECT_EQ(XP7_RemoveBinTxt(t), 1u);
    EXPECT_EQ(U(t), u"a?b\u00E9");
    XP7_BlockToBinTxt("\x8A", 1, t, kMac);  // decoded in Mac OS Roman
    EXPECT_EQ(U(t), u"a?b\u00E9\u00E4");
}

// ---- base64 ----

TEST(CodecBase64, EncodeBlockKnownValuesAndLineRules) {
    EXPECT_EQ(Encode({'M', 'a', 'n'}, 76), "TWFu");
    EXPECT_EQ(Encode({'M'}, 76), "TQ==");
    EXPECT_EQ(Encode({'M', 'a'}, 76), "TWE=");
    EXPECT_EQ(Encode({}, 76), "");
    // Two groups per line: a full line ends in CR LF, even the last; an unfilled last one does not.
    EXPECT_EQ(Encode(Bytes(12, 'a'), 8), "YWFhYWFh\r\nYWFhYWFh\r\n");
    EXPECT_EQ(Encode(Bytes(9, 'a'), 11), "YWFhYWFh\r\nYWFh");
    // A group that starts with a zero byte begins a new line.
    EXPECT_EQ(Encode({'M', 'a', 'n', 0, 'a', 'b'}, 76), "TWFu\r\nAGFi");
    EXPECT_EQ(Encode({0, 0, 0}, 76), "AAAA");

    std::mt19937 rng(11);
    for (int round = 0; round < 200; ++round) {
        const Bytes in = Random(rng, rng() % 200, round % 2 == 1);
        const int lineLen = int(rng() % 90) - 5;
        EXPECT_EQ(Encode(in, lineLen), PlainEncode(in, lineLen));
    }
}

TEST(CodecBase64, EncodeBlockStopsAtTheEndOfItsBuffer) {
    std::mt19937 rng(5);
    for (int round = 0; round < 100; ++round) {
        const Bytes in = Random(rng, 1 + rng() % 100, true);
        const int lineLen = 8 + int(rng() % 3) * 4;
        const unsigned long need = ZbBase64EncodedLength(in.data(), in.size(), lineLen);
        for (unsigned long cap : {0ul, 4ul, need - 1, need, need + 1}) {
            Bytes out(cap + 16, 0xEE);
            unsigned long n = 99;
            const long err = XP7_Base64_EncodeBlock(in.data(), in.size(), out.data(), cap, &n, lineLen);
            if (cap > need) {
                EXPECT_EQ(err, 0);
            } else if (cap < need) {
                EXPECT_EQ(err, -416);
            }
            EXPECT_EQ(n == need, err == 0);
            EXPECT_LE(n, cap);
            EXPECT_EQ(Bytes(out.begin() + long(cap), out.end()), Bytes(16, 0xEE));  // nothing past cap
        }
    }
}

TEST(CodecBase64, DecodeRoundTripsAndSkipsBlanks) {
    std::mt19937 rng(13);
    for (int round = 0; round < 300; ++round) {
        const Bytes in = Random(rng, rng() % 300, round % 3 == 0);
        const std::string text = Encode(in, 4 * int(rng() % 20));
        Bytes back{1};
        ASSERT_EQ(ZbBase64Decode(Ascii(text), back), 0) << text;
        EXPECT_EQ(back, in);
        size_t n = 0;
        Bytes raw(text.size() / 4 * 3);
        ASSERT_EQ(ZbBase64DecodeBlock(reinterpret_cast<const unsigned char *>(text.data()), text.size(), raw.data(),
                                      raw.size(), &n),
                  0);
        EXPECT_EQ(Bytes(raw.begin(), raw.begin() + long(n)), in);
    }
    Bytes out;
    EXPECT_EQ(ZbBase64Decode(u" TW\tFu\r\nTQ\n=\r=\n ", out), 0);
    EXPECT_EQ(out, (Bytes{'M', 'a', 'n', 'M'}));
}

TEST(CodecBase64, DecodeRefusesMalformedText) {
    for (const std::u16string bad : {u"TWF", u"TQ", u"TQ=", u"T===", u"====", u"=", u"TWFu=", u"TQ==TWFu", u"TQ==x",
                                     u"TW-u", u"TWF\u0175", u"TWFu\u0100", u"TQ==="}) {
        Bytes out{1};
        EXPECT_EQ(ZbBase64Decode(bad, out), -50) << std::string(bad.begin(), bad.end());
        EXPECT_TRUE(out.empty());
    }
    Bytes small(2);
    size_t n = 0;
    EXPECT_EQ(ZbBase64DecodeBlock(u"TWFu", 4, small.data(), small.size(), &n), -416);
}

TEST(CodecBase64, TxtToBase64TxtEndsLinesWithCROnly) {
    fmx::TextUniquePtr out = Txt(u"old");
    EXPECT_EQ(XP7_TxtToBase64Txt(Txt(u"Man"), 0, fmx::Text::kEncoding_UTF8, 76, out), -50);
    EXPECT_EQ(U(out), u"old");
    ASSERT_EQ(XP7_TxtToBase64Txt(Txt(u"Man"), 0, kMac, 76, out), 0);
    EXPECT_EQ(U(out), u"TWFu\r");
    ASSERT_EQ(XP7_TxtToBase64Txt(Txt(u"aaaaaaaaa"), 0, kMac, 8, out), 0);
    EXPECT_EQ(U(out), u"YWFhYWFh\rYWFh\r");
    ASSERT_EQ(XP7_TxtToBase64Txt(Txt(u"aaaaaaa"), 0, kMac, 3, out), 0);  // below 4: every group
    EXPECT_EQ(U(out), u"YWFh\rYWFh\rYQ==\r");
    ASSERT_EQ(XP7_TxtToBase64Txt(Txt(u""), 0, kMac, 76, out), 0);
    EXPECT_EQ(U(out), u"");
    ASSERT_EQ(XP7_TxtToBase64Txt(Txt(u"4d616E"), kZbFormHex, kMac, 76, out), 0);
    EXPECT_EQ(U(out), u"TWFu\r");
    EXPECT_EQ(XP7_TxtToBase64Txt(Txt(u"4d616"), kZbFormHex, kMac, 76, out), -50);
}

// Each character's byte must be the one XP7_TxtCharToAscii reads, escapes and surrogates included.
TEST(CodecBase64, TxtToBase64TxtReadsCharactersAsTxtCharToAscii) {
    const std::u16string pool = u"aZ\\0\u00E9\u20AC\u4E00\xD83D\xDE00\xDC00\xD800\u2126\u00FF\r";
    std::mt19937 rng(17);
    for (int round = 0; round < 200; ++round) {
        std::u16string units;
        for (size_t k = rng() % 40; k > 0; --k) units += pool[rng() % pool.size()];
        for (const short form : {kZbFormChars, kZbFormCharsEscaped}) {
            const fmx::TextUniquePtr src = Txt(units);
            Bytes expected;
            for (unsigned long pos = 0; pos < units.size(); ++pos) {
                const unsigned long b = XP7_TxtCharToAscii(src, form == kZbFormCharsEscaped, units.size(), &pos, 0);
                expected.push_back(b > 255 ? '*' : uint8_t(b));
            }
            fmx::TextUniquePtr out;
            ASSERT_EQ(XP7_TxtToBase64Txt(src, form, kMac, 40, out), 0);
            Bytes got;
            ASSERT_EQ(ZbBase64Decode(U(out), got), 0);
            EXPECT_EQ(got, expected);
        }
    }
}

TEST(CodecBase64, Base64TxtToTxtReversesTheTextForms) {
    fmx::TextUniquePtr base64, back;
    const std::u16string macText = u"Caf\u00E9 \u03A9\u2260\\x\r";
    ASSERT_EQ(XP7_TxtToBase64Txt(Txt(macText), kZbFormChars, kMac, 8, base64), 0);
    ASSERT_EQ(XP7_Base64TxtToTxt(base64, 0, kMac, kZbFormChars, back), 0);
    EXPECT_EQ(U(back), macText);

    ASSERT_EQ(XP7_TxtToBase64Txt(Txt(u"a\\0b\\\\"), kZbFormCharsEscaped, kMac, 76, base64), 0);
    ASSERT_EQ(XP7_Base64TxtToTxt(base64, 1, kMac, kZbFormChars, back), 0);
    EXPECT_EQ(U(back), u"a\\0b\\\\");
    ASSERT_EQ(XP7_Base64TxtToTxt(base64, 0, kMac, kZbFormHex, back), 0);
    EXPECT_EQ(U(back), u"6100625C");

    back = Txt(u"keep");
    EXPECT_EQ(XP7_Base64TxtToTxt(base64, 0, fmx::Text::kEncoding_Native, kZbFormHex, back), -50);
    EXPECT_EQ(XP7_Base64TxtToTxt(Txt(u"TQ=x"), 0, kMac, kZbFormHex, back), -50);
    EXPECT_EQ(U(back), u"keep");
}

// ---- container values ----

struct Stream {
    std::string type;
    Bytes bytes;
};

fmx::DataVectUniquePtr ContainerParms(const std::vector<Stream> &streams) {
    fmx::BinaryDataUniquePtr b;
    for (auto s : streams)
        EXPECT_EQ(b->Add(*fmx::QuadCharUniquePtr(s.type[0], s.type[1], s.type[2], s.type[3]),
                         fmx::uint32(s.bytes.size()), s.bytes.data()),
                  0);
    fmx::DataUniquePtr d;
    d->SetBinaryData(*b);
    fmx::DataVectUniquePtr parms;
    parms->PushBack(*d);
    return parms;
}

std::vector<Stream> StreamsOf(const fmx::BinaryData &b) {
    std::vector<Stream> streams;
    fmx::QuadCharUniquePtr q;
    for (fmx::int32 i = 0; i < b.GetCount(); ++i) {
        b.GetType(i, *q);
        Stream s{{char((*q)[0]), char((*q)[1]), char((*q)[2]), char((*q)[3])}, Bytes(b.GetSize(i))};
        EXPECT_EQ(b.GetData(i, 0, fmx::uint32(s.bytes.size()), s.bytes.data()), 0);
        streams.push_back(s);
    }
    return streams;
}

bool operator==(const Stream &a, const Stream &b) { return a.type == b.type && a.bytes == b.bytes; }

TEST(CodecContainer, JpegStreamHeader) {
    const auto parms = ContainerParms({{"JPEG", Bytes(10, 0xFF)}});
    fmx::TextUniquePtr text;
    unsigned long index = 0;
    ASSERT_EQ(XP7_GetFMBinaryDataAsBase64TxtFromVect(*parms, text, &index), 0);
    EXPECT_EQ(index, 1u);
    EXPECT_EQ(U(text), u"<ZERB_BINARY_CONTAINER10>00000001\r<- ->\r4A5045470000000A00000010"
                       u"/////////////w==</ZERB_BINARY_CONTAINER10>");
}

TEST(CodecContainer, EveryStreamRoundTripsInBothForms) {
    std::mt19937 rng(23);
    const std::vector<Stream> streams = {
        {"JPEG", Random(rng, 10)}, {"PNGf", Random(rng, 5000, true)}, {"FNAM", Bytes{'a', '.', 'j'}},
        {"SIZE", Bytes{0, 1, 0, 2}}, {"FILE", Random(rng, 1)}};
    const auto parms = ContainerParms(streams);
    for (const bool hex : {false, true}) {
        fmx::TextUniquePtr text;
        unsigned long index = 0;
        ASSERT_EQ(hex ? XP7_GetBinaryAsHxtTxtFromVect(*parms, text, &index)
                      : XP7_GetFMBinaryDataAsBase64TxtFromVect(*parms, text, &index),
                  0);
        fmx::BinaryDataUniquePtr back;
        ASSERT_EQ(hex ? XP7_HxtTxtToBinary(text, back) : XP7_Base64TxtToFMBinaryData(text, back), 0);
        EXPECT_EQ(StreamsOf(*back), streams);
        EXPECT_NE(hex ? XP7_Base64TxtToFMBinaryData(text, back) : XP7_HxtTxtToBinary(text, back), 0);
    }

    fmx::TextUniquePtr part = Txt(u">");
    unsigned long appended = 0;
    const fmx::BinaryData &b = parms->AtAsBinaryData(0);
    EXPECT_EQ(XP7_FMBinaryDataToBase64Txt(b, 2, 2, 72, part, &appended), 0);  // the first two bytes
    EXPECT_EQ(U(part), u">YS4=");
    EXPECT_EQ(appended, 4u);
    EXPECT_EQ(XP7_FMBinaryDataToBase64Txt(b, 2, 4, 72, part, &appended), -50);
    EXPECT_EQ(XP7_FMBinaryDataToBase64Txt(b, 5, 1, 72, part, &appended), -50);
}

TEST(CodecContainer, NothingToWrite) {
    fmx::DataVectUniquePtr parms;
    fmx::DataUniquePtr empty, text;
    empty->SetBinaryData(*fmx::BinaryDataUniquePtr());
    text->SetAsText(*Txt(u"not a container"), *fmx::LocaleUniquePtr());
    parms->PushBack(*empty);
    parms->PushBack(*text);
    fmx::TextUniquePtr out = Txt(u"keep");
    for (unsigned long index : {0, 1}) {
        EXPECT_EQ(XP7_GetFMBinaryDataAsBase64TxtFromVect(*parms, out, &index), -2026);
        EXPECT_EQ(XP7_GetBinaryAsHxtTxtFromVect(*parms, out, &index), -2026);
    }
    unsigned long past = 2;
    EXPECT_EQ(XP7_GetBinaryAsHxtTxtFromVect(*parms, out, &past), -50);
    EXPECT_EQ(U(out), u"keep");
}

TEST(CodecContainer, MalformedContainerTextsAnswerMinus50) {
    const auto parms = ContainerParms({{"JPEG", Bytes{1, 2, 3, 4, 5}}, {"FILE", Bytes{0, 9}}});
    fmx::TextUniquePtr text;
    unsigned long index = 0;
    ASSERT_EQ(XP7_GetFMBinaryDataAsBase64TxtFromVect(*parms, text, &index), 0);
    const std::u16string good = U(text);
    ASSERT_EQ(good, u"<ZERB_BINARY_CONTAINER10>00000002\r<- ->\r4A5045470000000500000008AQIDBAU="
                    u"\r<- ->\r46494C450000000200000004AAk=</ZERB_BINARY_CONTAINER10>");

    const auto replaced = [&](size_t at, const std::u16string &with) {
        std::u16string s = good;
        return s.replace(at, with.size(), with);
    };
    std::vector<std::u16string> bad = {
        replaced(1, u"X"),                     // header
        replaced(25, u"00000003"),             // more streams than records
        replaced(25, u"00000001"),             // a record left over
        replaced(25, u"00000000"),             // no stream
        replaced(25, u"FFFFFFFF"),             // a count the text cannot hold
        replaced(25, u"0000000G"),             // not a digit
        replaced(34, u"="),                    // separator
        replaced(48, u"00000006"),             // size above the data
        replaced(48, u"00000004"),             // size below the data
        replaced(48, u"00000000"),             // an empty stream
        replaced(48, u"FFFFFFFF"),             // a size far beyond the text
        replaced(56, u"0000000C"),             // length into the next record
        replaced(56, u"FFFFFFF0"),             // length past the end
        replaced(64, u"-"),                    // base64 digit
        replaced(79, u"4A504547"),             // the same type twice
        good + u"x",                           // after the trailer
    };
    for (size_t cut = 0; cut < good.size(); ++cut) bad.push_back(good.substr(0, cut));
    const auto expected = StreamsOf(parms->AtAsBinaryData(0));
    for (const auto &s : bad) {
        fmx::BinaryDataUniquePtr out;
        ASSERT_EQ(XP7_Base64TxtToFMBinaryData(Txt(good), out), 0);
        EXPECT_EQ(XP7_Base64TxtToFMBinaryData(Txt(s), out), -50) << std::string(s.begin(), s.end());
        EXPECT_EQ(StreamsOf(*out), expected);  // left as it was
    }
    fmx::BinaryDataUniquePtr out;
    EXPECT_EQ(XP7_Base64TxtToFMBinaryData(Txt(u"\r\n " + good + u"\r"), out), 0);
}

}  // namespace
