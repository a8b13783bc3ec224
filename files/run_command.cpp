// ZbFile_RunCommand( switches ; command {; input } ) and ZbFile_CommandStatus( switches ; job {;
// waitSeconds } ): running a program with exactly the arguments given (no shell, no quoting) or a
// shell command, and answering how it ended as JSON:
//
//   {"exitCode": 0, "signal": null, "stdout": "…", "stderr": "…", "timedOut": false,
//    "truncated": false, "seconds": 0.012}
//
// The command is a JSON object: "argv" (an array of strings) or "shell" (a string for /bin/sh
// -c), and optionally "cwd", "env", "inheritEnv", "timeoutSeconds" (60 unless given; 0 is no
// limit) and "maxOutputBytes" (10 MiB a stream unless given). "-Background" starts it as a job and
// answers {"job": n} at once; CommandStatus answers the job's state with "job" and "running".
// Only a command that could not run at all answers "$$" and an error number.

#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "core/rapidjson.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "files/command_jobs.h"
#include "platform/commands.h"
#include "platform/errors.h"
#include "text/codecs.h"
#include "text/encoding.h"
#include "text/json.h"

namespace {

constexpr double kDefaultTimeoutSeconds = 60;
constexpr size_t kDefaultOutputLimit = size_t(10) << 20;
constexpr size_t kLargestOutputLimit = size_t(1) << 30;
// A command longer than the system passes to a program at all (its arguments and environment
// together are limited to a few MiB) is refused before it is parsed.
constexpr size_t kLongestCommand = size_t(4) << 20;
constexpr size_t kMostArguments = 65536;
// A time limit past ten years is no limit a user meant.
constexpr double kLongestTimeoutSeconds = 315576000;

// The text as bytes in the encoding (UTF-8 and the other host encodings; BytesOnly one byte a
// character). -50 past `longest` characters.
long TextBytes(const fmx::TextUniquePtr &text, ZbTextEncoding encoding, size_t longest, std::string &bytes) {
    const size_t units = text->GetSize();
    if (units > longest) return kParamErr;
    try {
        bytes.resize(units * 4 + 4);
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
    unsigned long length = 0;
    if (units > 0)
        XP7_TxtToBlock(text, encoding, (unsigned long)(bytes.size()), reinterpret_cast<unsigned char *>(bytes.data()), &length);
    bytes.resize(length);
    return 0;
}

bool HasNul(const rapidjson::Value &text) {
    return std::memchr(text.GetString(), 0, text.GetStringLength()) != nullptr;
}

std::string String(const rapidjson::Value &text) { return {text.GetString(), text.GetStringLength()}; }

// The command object into a request. -50 for anything it does not allow: another type, a key it
// does not know (a misspelt "timeoutSeconds" must not pass unnoticed), both "argv" and "shell" or
// neither, an empty program, a NUL in any text, a "=" in a variable's name, negative bounds.
long ParseCommand(const std::string &json, ZbCommandRequest &request) {
    rapidjson::Document command;
    command.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size());
    if (command.HasParseError() || !command.IsObject()) return kParamErr;
    double timeout = kDefaultTimeoutSeconds;
    request.outputLimit = kDefaultOutputLimit;
    bool haveProgram = false;
    for (const auto &member : command.GetObject()) {
        const std::string_view key(member.name.GetString(), member.name.GetStringLength());
        const rapidjson::Value &value = member.value;
        if (key == "argv" || key == "shell") {
            if (haveProgram) return kParamErr;
            haveProgram = true;
            if (key == "shell") {
                if (!value.IsString() || value.GetStringLength() == 0 || HasNul(value)) return kParamErr;
                request.arguments = {"/bin/sh", "-c", String(value)};
                continue;
            }
            if (!value.IsArray() || value.Empty() || value.Size() > kMostArguments) return kParamErr;
            for (const auto &argument : value.GetArray()) {
                if (!argument.IsString() || HasNul(argument)) return kParamErr;
                request.arguments.push_back(String(argument));
            }
            if (request.arguments[0].empty()) return kParamErr;
        } else if (key == "cwd") {
            if (!value.IsString() || HasNul(value) || value.GetStringLength() == 0 || value.GetString()[0] != '/')
                return kParamErr;
            request.workingFolder = String(value);
        } else if (key == "env") {
            if (!value.IsObject()) return kParamErr;
            for (const auto &variable : value.GetObject()) {
                const std::string name = String(variable.name);
                if (name.empty() || name.find('=') != std::string::npos || HasNul(variable.name) ||
                    !variable.value.IsString() || HasNul(variable.value))
                    return kParamErr;
                request.variables.emplace_back(name, String(variable.value));
            }
        } else if (key == "inheritEnv") {
            if (!value.IsBool()) return kParamErr;
            request.inheritEnvironment = value.GetBool();
        } else if (key == "timeoutSeconds") {
            if (!value.IsNumber()) return kParamErr;
            timeout = value.GetDouble();
            if (!(timeout >= 0 && timeout <= kLongestTimeoutSeconds)) return kParamErr;
        } else if (key == "maxOutputBytes") {
            if (!value.IsUint64() || value.GetUint64() > kLargestOutputLimit) return kParamErr;
            request.outputLimit = size_t(value.GetUint64());
        } else {
            return kParamErr;
        }
    }
    if (!haveProgram) return kParamErr;
    // A limit below a millisecond is a millisecond: 0 alone means none.
    request.timeoutMilliseconds = timeout > 0 ? std::max<int64_t>(1, int64_t(std::llround(timeout * 1000))) : 0;
    return 0;
}

// A FileMaker return (CR, or CR LF) becomes a line feed, which is how programs end lines.
void ReturnsToLineFeeds(std::string &bytes) {
    size_t to = 0;
    for (size_t from = 0; from < bytes.size(); ++from) {
        if (bytes[from] == '\r') {
            bytes[to++] = '\n';
            if (from + 1 < bytes.size() && bytes[from + 1] == '\n') ++from;
        } else {
            bytes[to++] = bytes[from];
        }
    }
    bytes.resize(to);
}

// One output stream: its text (bytes decoded in the encoding; bad UTF-8 as U+FFFD), or base64.
void WriteStream(ZbJson &json, const char *key, const std::string &bytes, const ZbJobFormat &format) {
    if (format.base64) {
        json.Key(std::string(key) + "Base64");
        json.Text(ZbBase64Text(bytes));
        return;
    }
    json.Key(key);
    if (format.encoding == fmx::Text::kEncoding_UTF8 || bytes.empty()) {
        json.Text(bytes);
        return;
    }
    fmx::TextUniquePtr text;
    XP7_BlockToTxt(bytes.data(), (unsigned long)(bytes.size()), text, format.encoding, 0);
    std::string utf8;
    if (TextBytes(text, fmx::Text::kEncoding_UTF8, SIZE_MAX / 8, utf8) != 0) utf8.clear();
    json.Text(utf8);
}

void WriteState(ZbJson &json, const ZbCommandState &state, const ZbJobFormat &format) {
    json.Key("exitCode");
    if (state.finished && state.exited)
        json.Int(state.exitCode);
    else
        json.Null();
    json.Key("signal");
    if (state.finished && state.signal)
        json.Int(state.signal);
    else
        json.Null();
    WriteStream(json, "stdout", state.output, format);
    WriteStream(json, "stderr", state.errorOutput, format);
    json.Key("timedOut");
    json.Bool(state.timedOut);
    json.Key("truncated");
    json.Bool(state.truncated);
    json.Key("seconds");
    json.Number(std::round(double(state.nanoseconds) / 1e6) / 1e3);
}

ZbJobFormat FormatOf(const char *switches, ZbTextEncoding fallback) {
    ZbJobFormat format;
    format.base64 = XP_HasSwitch(switches, "-Base64Output");
    format.encoding = XP7_GetEncodingSwitch(switches, fallback);
    return format;
}

long RunCommand(const fmx::DataVect &parameters, ZbJson &json) {
    if (parameters.Size() < 2) return kParamErr;
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
    const ZbJobFormat format = FormatOf(switches, fmx::Text::kEncoding_UTF8);

    ZbCommandRequest request;
    try {
        fmx::TextUniquePtr commandText;
        XP7_GetNextTxtFromVect(parameters, commandText, &cursor);
        std::string command;
        if (const long err = TextBytes(commandText, fmx::Text::kEncoding_UTF8, kLongestCommand, command)) return err;
        if (const long err = ParseCommand(command, request)) return err;
        if (parameters.Size() > 2) {
            fmx::TextUniquePtr inputText;
            XP7_GetNextTxtFromVect(parameters, inputText, &cursor);
            if (const long err = TextBytes(inputText, format.encoding, SIZE_MAX / 8, request.input)) return err;
            ReturnsToLineFeeds(request.input);
        }
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }

    if (XP_HasSwitch(switches, "-Background")) {
        int64_t job = 0;
        if (const long err = Zb7_StartJob(request, format, job)) return err;
        json.BeginObject();
        json.Key("job");
        json.Int(job);
        json.EndObject();
        return 0;
    }
    ZbCommandState state;
    if (const int error = Zb7_PlatformRunCommand(request, state)) return Zb7_CommandStartError(error);
    json.BeginObject();
    WriteState(json, state, format);
    json.EndObject();
    return 0;
}

long CommandStatus(const fmx::DataVect &parameters, ZbJson &json) {
    if (parameters.Size() < 2) return kParamErr;
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
    const double number = parameters.AtAsNumber(1).AsFloat();
    if (!(number >= 1 && number <= 9e15) || number != std::floor(number)) return kParamErr;
    double waitSeconds = 0;
    if (parameters.Size() > 2) {
        waitSeconds = parameters.AtAsNumber(2).AsFloat();
        if (!(waitSeconds >= 0)) return kParamErr;
    }
    ZbCommandState state;
    ZbJobFormat format;
    if (const long err = Zb7_JobStatus(int64_t(number), waitSeconds, state, format)) return err;
    // The switches of this call choose the answer's form where they say something; otherwise the
    // job keeps the form its own call chose.
    if (XP_HasSwitch(switches, "-Base64Output")) format.base64 = true;
    format.encoding = XP7_GetEncodingSwitch(switches, format.encoding);
    json.BeginObject();
    json.Key("job");
    json.Int(int64_t(number));
    json.Key("running");
    json.Bool(!state.finished);
    WriteState(json, state, format);
    json.EndObject();
    return 0;
}

}  // namespace

fmx::errcode ZbFile7_DoRunCommand(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                  fmx::Data &result) {
    return XP7_JsonAnswerToData(RunCommand, parameters, result);
}

fmx::errcode ZbFile7_DoCommandStatus(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                     const fmx::DataVect &parameters, fmx::Data &result) {
    return XP7_JsonAnswerToData(CommandStatus, parameters, result);
}
