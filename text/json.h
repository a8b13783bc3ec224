// Writing the JSON answers of the functions that answer JSON (RFC 8259, UTF-8), which the host's
// own JSONGetElement, JSONListKeys and JSONFormatElements read. RapidJSON's streaming writer puts
// the answer into one buffer as it goes, so a listing of a million entries never becomes a tree.
#ifndef ZERB_TEXT_JSON_H
#define ZERB_TEXT_JSON_H

#include <cstdint>
#include <string>
#include <string_view>

#include "core/rapidjson.h"
#include "fmx/fmx.h"

struct ZbJson {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> out{buffer};

    // The answer so far (complete once the outermost object or array is closed).
    std::string_view Text() const { return {buffer.GetString(), buffer.GetSize()}; }
    size_t Size() const { return buffer.GetSize(); }

    void Key(std::string_view key) { out.Key(key.data(), rapidjson::SizeType(key.size())); }
    // Text of any origin: bytes that are not well-formed UTF-8 each become U+FFFD.
    void Text(std::string_view bytes);
    void Int(int64_t value) { out.Int64(value); }
    void Uint(uint64_t value) { out.Uint64(value); }
    // A number; one that is not finite (a rational with denominator 0) is null.
    void Number(double value);
    void Bool(bool value) { out.Bool(value); }
    void Null() { out.Null(); }
    void BeginObject() { out.StartObject(); }
    void EndObject() { out.EndObject(); }
    void BeginArray() { out.StartArray(); }
    void EndArray() { out.EndArray(); }
    // "key": value pairs.
    void UintField(std::string_view key, uint64_t value) {
        Key(key);
        Uint(value);
    }
    void TextField(std::string_view key, std::string_view text) {
        Key(key);
        Text(text);
    }
    // "key": true, for a flag an answer carries only when it is set.
    void TrueField(std::string_view key) {
        Key(key);
        Bool(true);
    }

    // The bytes as a text of lower-case hex, written straight into the answer (hex needs no
    // escaping), for binary values of any size.
    void Hex(std::string_view bytes);

    // "key": text, and when the bytes are not well-formed UTF-8 also "<key>Bytes": their hex, so
    // that a name the file system holds in another encoding can still be told apart and rebuilt.
    void Name(std::string_view key, std::string_view bytes);
    // "key": the local date and time of an instant given in seconds and nanoseconds since 1970
    // UTC, ISO 8601 with its offset: 2026-11-25T12:07:39.123456789+01:00 (fraction digits as
    // far as the nanoseconds go, trailing zeros left out).
    void Date(std::string_view key, int64_t seconds, uint32_t nanoseconds);
    // One failure inside an answer that goes on: {"path", "error", "errno", "message"} with the
    // plug-in's error number, the system's and the system's text for it (errno 0: no errno and
    // the message of the error number).
    void Failure(std::string_view path, long error, int systemError);
};

// A JSON function's result: the answer `build` writes, or the error number it answers instead.
fmx::errcode XP7_JsonAnswerToData(long (*build)(const fmx::DataVect &parameters, ZbJson &json),
                                  const fmx::DataVect &parameters, fmx::Data &result);

// The local time of an instant as ISO 8601 with the offset from UTC (see ZbJson::Date).
std::string ZbIsoLocalTime(int64_t seconds, uint32_t nanoseconds);

// Lower-case hex of the bytes.
std::string ZbHexText(std::string_view bytes);

#endif
