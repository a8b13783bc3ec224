// fmxhost: a command-line FileMaker host. Loads a plug-in as the host does and evaluates
// calculations made of function calls, string literals, numbers and "&":
//   fmxhost 'ZbFile_Version("-getversionnumber")'
// Without calculations on the command line it reads one per line from standard input and prints
// one result per line, keeping the same plug-in instance (and its state) for the whole session.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>

#include "FMWrapper/FMXExtern.h"
#include "FMWrapper/FMXBinaryData.h"
#include "FMWrapper/FMXTypes.h"  // QuadChar, which FMXCalcEngine.h uses without declaring it
#include "FMWrapper/FMXCalcEngine.h"
#include "FMWrapper/FMXData.h"
#include "FMWrapper/FMXFixPt.h"
#include "FMWrapper/FMXText.h"
#include "host/host_api.h"
#include "host/objects.h"

namespace {

constexpr int kExitUsage = 2;
constexpr int kExitLoad = 1;

struct Options {
    bool list = false;
    bool info = false;
    bool raw = false;
    std::string saveDir;
    std::string pluginPath;
    std::optional<std::string> fileName;
    int16_t extnVersion = kCurrentExtnVersion;
    std::vector<std::string> calculations;
};

// A calculation error that is the user's, not the plug-in's: reported on standard error, exit 2.
struct CalcError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string PluginBesideExecutable() {
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return "ZerbFile.fmx";
    std::string path(self, size_t(n));
    return path.substr(0, path.rfind('/') + 1) + "ZerbFile.fmx";
}

void Usage(std::ostream &out) {
    out << "usage: fmxhost [--plugin PATH] [--extn-version N] [--raw] [--save DIR] [--list] [--info] [--file-name NAME]\n"
           "               [CALCULATION...]\n"
           "  Evaluates each CALCULATION (or each line of standard input) with the plug-in loaded and prints\n"
           "  one result per line. A calculation is function calls, \"string\" literals (\\\" \\\\ and \xC2\xB6\n"
           "  for a return), numbers and &; parameters are separated by ';'.\n"
           "  --list          print the registered functions with their prototypes\n"
           "  --info          print what a server shows of the plug-in: name, version (its soname), id,\n"
           "                  description, and its line of Get(InstalledFMPlugins)\n"
           "  --raw           print results byte-exact (returns stay CR)\n"
           "  --save DIR      write each stream of a container result into DIR\n"
           "  --file-name NAME  the database file calculations run in, answered by Get(FileName)\n"
           "                  (without it, Get(FileName) is an error)\n"
           "  --plugin PATH   the plug-in to load (default: ZerbFile.fmx beside fmxhost)\n"
           "  --extn-version  the host's plug-in interface version sent at init (default "
        << int(kCurrentExtnVersion) << ")\n";
}

fmx::DataUniquePtr TextValue(const std::u16string &s) {
    fmx::DataUniquePtr d;
    fmx::TextUniquePtr t;
    t->AssignUnicodeWithLength(reinterpret_cast<const fmx::uint16 *>(s.data()), fmx::uint32(s.size()));
    fmx::LocaleUniquePtr locale;
    d->SetAsText(*t, *locale);
    return d;
}

std::u16string TextOf(const fmx::Data &d) {
    const fmx::Text &t = d.GetAsText();
    std::u16string s(t.GetSize(), u'\0');
    if (!s.empty()) t.GetUnicode(reinterpret_cast<fmx::uint16 *>(s.data()), 0, fmx::uint32(s.size()));
    return s;
}

// Recursive-descent evaluator over the UTF-16 text of one calculation.
//   expr  := term { "&" term }
//   term  := string | number | call | "(" expr ")"
//   call  := name [ "(" [ expr { ";" expr } ] ")" ]
class Evaluator {
public:
    explicit Evaluator(std::u16string text) : s_(std::move(text)) {}

    fmx::DataUniquePtr Run() {
        auto v = Expr();
        Skip();
        if (i_ < s_.size()) Fail("unexpected text");
        return v;
    }

private:
    std::u16string s_;
    size_t i_ = 0;

    [[noreturn]] void Fail(const std::string &what) {
        throw CalcError("syntax error at column " + std::to_string(i_ + 1) + ": " + what);
    }
    void Skip() {
        while (i_ < s_.size() && (s_[i_] == u' ' || s_[i_] == u'\t' || s_[i_] == u'\r' || s_[i_] == u'\n')) ++i_;
    }
    bool Accept(char16_t c) {
        Skip();
        if (i_ < s_.size() && s_[i_] == c) {
            ++i_;
            return true;
        }
        return false;
    }

    fmx::DataUniquePtr Expr() {
        auto left = Term();
        while (Accept(u'&')) {
            auto right = Term();
            left = TextValue(TextOf(*left) + TextOf(*right));
        }
        return left;
    }

    fmx::DataUniquePtr Term() {
        Skip();
        if (i_ >= s_.size()) Fail("a value is missing");
        const char16_t c = s_[i_];
        if (c == u'"') return String();
        if ((c >= u'0' && c <= u'9') || c == u'.' || c == u'-') return Number();
        if (c == u'(') {
            ++i_;
            auto v = Expr();
            if (!Accept(u')')) Fail("\")\" expected");
            return v;
        }
        if (IsNameChar(c)) return Call();
        Fail("a value is expected");
    }

    static bool IsNameChar(char16_t c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_' ||
               c == u'.' || c > 0x7F;
    }

    fmx::DataUniquePtr String() {
        ++i_;  // opening quote
        std::u16string out;
        for (;;) {
            if (i_ >= s_.size()) Fail("the string has no closing quote");
            const char16_t c = s_[i_++];
            if (c == u'"') break;
            if (c == u'\\' && i_ < s_.size()) {
                out += s_[i_++];  // \" \\ and \¶ stand for the character itself
            } else if (c == u'\u00B6') {
                out += u'\r';
            } else {
                out += c;
            }
        }
        return TextValue(out);
    }

    fmx::DataUniquePtr Number() {
        const size_t start = i_;
        if (s_[i_] == u'-') ++i_;
        bool digits = false, point = false;
        while (i_ < s_.size()) {
            if (s_[i_] >= u'0' && s_[i_] <= u'9') {
                digits = true;
            } else if (s_[i_] == u'.' && !point) {
                point = true;
            } else {
                break;
            }
            ++i_;
        }
        if (!digits) Fail("a number is expected");
        fmx::DataUniquePtr d;
        fmx::TextUniquePtr t;
        const std::u16string literal = s_.substr(start, i_ - start);
        t->AssignUnicodeWithLength(reinterpret_cast<const fmx::uint16 *>(literal.data()), fmx::uint32(literal.size()));
        fmx::LocaleUniquePtr locale;
        d->SetAsText(*t, *locale, fmx::Data::kDTNumber);
        return d;
    }

    fmx::DataUniquePtr Call() {
        const size_t start = i_;
        while (i_ < s_.size() && IsNameChar(s_[i_])) ++i_;
        const std::u16string name = s_.substr(start, i_ - start);
        fmx::DataVectUniquePtr params;
        if (Accept(u'(')) {
            if (!Accept(u')')) {
                do {
                    auto v = Expr();
                    params->PushBack(*v);
                } while (Accept(u';'));
                if (!Accept(u')')) Fail("\";\" or \")\" expected");
            }
        }
        fmx::DataUniquePtr result;
        switch (zhost::CallFunction(name, *params, *result)) {
        case zhost::CallStatus::ok:
            return result;
        case zhost::CallStatus::unknownFunction:
            throw CalcError("unknown function: " + zhost::ToUtf8(name));
        case zhost::CallStatus::tooFewParameters:
        case zhost::CallStatus::tooManyParameters: {
            const auto f = zhost::FindFunction(name);
            const std::string range = f->maxArgs < 0 ? "at least " + std::to_string(f->minArgs)
                                      : f->minArgs == f->maxArgs
                                          ? std::to_string(f->minArgs)
                                          : std::to_string(f->minArgs) + " to " + std::to_string(f->maxArgs);
            throw CalcError(zhost::ToUtf8(f->name) + " takes " + range + " parameter" +
                            (f->maxArgs == 1 ? "" : "s") + ", " + std::to_string(params->Size()) + " given");
        }
        }
        throw CalcError("call failed");
    }
};

std::string StreamTypeName(uint32_t type) {
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = char((type >> shift) & 0xFF);
        s += (c >= 0x20 && c < 0x7F) ? c : '_';
    }
    return s;
}

// Prints one result. A container prints as the list of its streams; with --save its streams are
// written to files named after the result number and the stream type.
void PrintResult(const fmx::Data &result, const Options &opt, int number) {
    if (result.GetNativeType() == fmx::Data::kDTBinary) {
        const fmx::BinaryData &b = result.GetBinaryData();
        const int32_t count = b.GetCount();
        std::cout << "<container: " << count << " stream" << (count == 1 ? "" : "s");
        for (int32_t k = 0; k < count; ++k) {
            fmx::QuadCharUniquePtr type;
            b.GetType(k, *type);
            const std::string typeName = StreamTypeName(type->GetMacType());
            const uint32_t size = b.GetSize(k);
            std::cout << (k ? ", " : ": ") << typeName << " " << size << " bytes";
            if (!opt.saveDir.empty()) {
                std::vector<char> bytes(size);
                if (size) b.GetData(k, 0, size, bytes.data());
                std::string file = typeName;
                while (!file.empty() && (file.back() == ' ' || file.back() == '_')) file.pop_back();
                const std::string path = opt.saveDir + "/" + std::to_string(number) + "." + file;
                std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
            }
        }
        std::cout << ">\n";
        return;
    }
    std::string text = zhost::ToUtf8(TextOf(result));
    if (!opt.raw)
        for (char &c : text)
            if (c == '\r') c = '\n';
    std::cout << text << '\n';
}

void ListFunctions() {
    for (const auto &f : zhost::RegisteredFunctions())
        std::cout << f.id << '\t' << zhost::ToUtf8(f.name) << '\t' << zhost::ToUtf8(f.prototype) << '\n';
}

void PrintInfo(const zhost::Plugin &plugin, const std::string &path) {
    const std::string name = zhost::ToUtf8(plugin.name());
    const std::string version = zhost::ModuleSoname(path);
    std::cout << "name: " << name << "\nversion: " << version << "\nid: " << zhost::ToUtf8(plugin.options().substr(0, 4))
              << "\ndescription: " << zhost::ToUtf8(plugin.description()) << "\nInstalledFMPlugins: " << name << ';'
              << version << ';' << (plugin.initResult() >= 0 ? "Enabled" : "Disabled") << '\n';
}

// Evaluates one calculation; answers false after reporting a user error on standard error.
bool Evaluate(const std::string &calculation, const Options &opt, int number) {
    try {
        Evaluator e(zhost::FromUtf8(calculation));
        auto result = e.Run();
        PrintResult(*result, opt, number);
        return true;
    } catch (const CalcError &err) {
        std::cerr << "fmxhost: " << err.what() << '\n';
    } catch (const std::exception &err) {
        std::cerr << "fmxhost: host failure: " << err.what() << '\n';
    }
    return false;
}

std::optional<Options> ParseArguments(int argc, char **argv) {
    Options opt;
    for (int k = 1; k < argc; ++k) {
        const std::string a = argv[k];
        auto value = [&]() -> std::string {
            if (k + 1 >= argc) throw CalcError(a + " needs a value");
            return argv[++k];
        };
        if (a == "--list") {
            opt.list = true;
        } else if (a == "--info") {
            opt.info = true;
        } else if (a == "--raw") {
            opt.raw = true;
        } else if (a == "--save") {
            opt.saveDir = value();
        } else if (a == "--file-name") {
            opt.fileName = value();
        } else if (a == "--plugin") {
            opt.pluginPath = value();
        } else if (a == "--extn-version") {
            opt.extnVersion = int16_t(std::atoi(value().c_str()));
        } else if (a == "--help" || a == "-h") {
            Usage(std::cout);
            std::exit(0);
        } else if (a == "--") {
            for (++k; k < argc; ++k) opt.calculations.push_back(argv[k]);
        } else if (a.size() > 2 && a.compare(0, 2, "--") == 0) {
            throw CalcError("unknown option " + a);
        } else {
            opt.calculations.push_back(a);
        }
    }
    if (opt.pluginPath.empty()) opt.pluginPath = PluginBesideExecutable();
    return opt;
}

}  // namespace

int main(int argc, char **argv) {
    Options opt;
    try {
        opt = *ParseArguments(argc, argv);
    } catch (const CalcError &err) {
        std::cerr << "fmxhost: " << err.what() << '\n';
        Usage(std::cerr);
        return kExitUsage;
    }
    if (opt.fileName) zhost::SetFileName(zhost::FromUtf8(*opt.fileName));
    std::string error;
    auto plugin = zhost::Plugin::Load(opt.pluginPath, opt.extnVersion, error);
    if (!plugin) {
        std::cerr << "fmxhost: " << error << '\n';
        return kExitLoad;
    }
    if (opt.info) PrintInfo(*plugin, opt.pluginPath);
    if (opt.list) ListFunctions();

    bool allGood = true;
    int number = 0;
    if (!opt.calculations.empty()) {
        for (const auto &c : opt.calculations) allGood = Evaluate(c, opt, ++number) && allGood;
    } else if (!opt.list && !opt.info) {
        std::string line;
        while (std::getline(std::cin, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty()) continue;
            if (!Evaluate(line, opt, ++number)) {
                allGood = false;
                std::cout << '\n';  // keep one output line per input line
            }
            std::cout.flush();
        }
    }
    std::cout.flush();
    plugin.reset();  // message 4 before exit
    return allGood ? 0 : kExitUsage;
}
