// ZbFile_Hash( switches ; path ): the digest of a file's data as lower-case hex, or base64 with
// "-Base64". "-Algorithm=" chooses SHA256 (the default), SHA1, MD5, SHA512, SHA3-256 or BLAKE2b512.
//
// The digests come from the system's libcrypto (OpenSSL 3), opened by soname on first use, so the
// plug-in needs no OpenSSL at build time and still loads where it is missing (the call then answers
// -2003). The file is read in large blocks into one buffer, so memory stays the same whatever its
// size.
#include <strings.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/forks.h"
#include "platform/read_advice.h"
#include "platform/shared_libraries.h"
#include "text/codecs.h"
#include "text/json.h"

namespace {

// libcrypto's own types, opaque here; the prototypes are OpenSSL 3's.
struct ZbEvpMd;
struct ZbEvpMdContext;
using DigestByNameFn = const ZbEvpMd *(const char *name);
using NewContextFn = ZbEvpMdContext *();
using FreeContextFn = void(ZbEvpMdContext *context);
using InitFn = int(ZbEvpMdContext *context, const ZbEvpMd *md, void *engine);
using UpdateFn = int(ZbEvpMdContext *context, const void *data, size_t size);
using FinalFn = int(ZbEvpMdContext *context, unsigned char *digest, unsigned int *size);

constexpr size_t kLongestDigest = 64;  // EVP_MAX_MD_SIZE

struct ZbAlgorithm {
    const char *switchName;  // as "-Algorithm=" names it (case ignored)
    const char *alias;       // another spelling users write
    const char *libraryName;  // as libcrypto names it
};

constexpr ZbAlgorithm kAlgorithms[] = {
    {"SHA256", "SHA-256", "SHA256"},       {"SHA1", "SHA-1", "SHA1"},       {"MD5", "MD5", "MD5"},
    {"SHA512", "SHA-512", "SHA512"},       {"SHA3-256", "SHA3_256", "SHA3-256"},
    {"BLAKE2b512", "BLAKE2b-512", "BLAKE2b512"},
};
constexpr size_t kAlgorithmCount = sizeof kAlgorithms / sizeof kAlgorithms[0];

struct ZbCrypto {
    DigestByNameFn *digestByName = nullptr;
    NewContextFn *newContext = nullptr;
    FreeContextFn *freeContext = nullptr;
    InitFn *init = nullptr;
    UpdateFn *update = nullptr;
    FinalFn *final = nullptr;
    bool ready = false;
};

// The library's entry points, bound at the first call. A static object, not one on the heap, so
// that an unloaded plug-in leaves nothing behind.
ZbCrypto &Crypto() {
    static ZbCrypto crypto;
    static std::once_flag bound;
    std::call_once(bound, [] {
        crypto.ready = Zb7_PlatformBindSymbols(
            Zb7_PlatformOpenLibrary({"libcrypto.so.3"}),
            {"EVP_get_digestbyname", "EVP_MD_CTX_new", "EVP_MD_CTX_free", "EVP_DigestInit_ex",
             "EVP_DigestUpdate", "EVP_DigestFinal_ex"},
            crypto.digestByName, crypto.newContext, crypto.freeContext, crypto.init, crypto.update,
            crypto.final);
    });
    return crypto;
}

// The digest of an algorithm, or null when this libcrypto lacks it (MD5 in a FIPS-only setup).
// The library's own constant, which it fetches from its providers at each start of a digest: a
// fetched one would be ours to free, and a module cannot free it safely once the library may have
// cleaned up at exit.
const ZbEvpMd *Digest(size_t algorithm) {
    const ZbCrypto &c = Crypto();
    return c.ready ? c.digestByName(kAlgorithms[algorithm].libraryName) : nullptr;
}

struct ZbContextOwner {
    ZbEvpMdContext *context;
    ~ZbContextOwner() {
        if (context) Crypto().freeContext(context);
    }
};

// The algorithm "-Algorithm=" names (SHA256 without it), or -50 for a name it does not know.
long ChooseAlgorithm(const char *switches, size_t &algorithm) {
    char name[32] = "";
    const long length = long(std::strlen(switches));
    if (XP_GetTaggedStr(switches, length, "-Algorithm=", 11, ' ', 0, 1, false, name, sizeof name) < 0) {
        algorithm = 0;
        return 0;
    }
    for (algorithm = 0; algorithm < kAlgorithmCount; ++algorithm)
        if (strcasecmp(name, kAlgorithms[algorithm].switchName) == 0 ||
            strcasecmp(name, kAlgorithms[algorithm].alias) == 0)
            return 0;
    return kParamErr;
}

// Blocks of 1 MiB: large enough that the system calls cost nothing beside the digest, small
// enough to stay in the processor's cache between the read and the digest.
constexpr size_t kBlock = size_t(1) << 20;

long Hash(const fmx::DataVect &parameters, std::string &answer) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr pathText;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, pathText)) return kParamErr;
    size_t algorithm = 0;
    if (const long err = ChooseAlgorithm(switches, algorithm)) return err;
    FSSpec ref;
    if (const long err = XP7_TxtToItem(*pathText, ref, kZbMaxNameLength)) return err;
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    // A folder, a device or a named pipe answers as GetContents does (-1302), without waiting.
    ZbFork fork;
    if (const long err = Zb7_PlatformOpenDataFork(path, false, fork)) return err;

    const ZbEvpMd *digest = Digest(algorithm);
    if (!digest) return kNoImporterErr;
    const ZbCrypto &c = Crypto();
    ZbContextOwner owner{c.newContext()};
    if (!owner.context) return kMemFullErr;
    if (c.init(owner.context, digest, nullptr) != 1) return kNoImporterErr;

    std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[kBlock]);
    if (!block) return kMemFullErr;
    Zb7_PlatformAdviseSequentialRead(fork.fd);
    for (int64_t offset = 0;;) {
        size_t actual = 0;
        if (const long err = Zb7_PlatformReadFork(fork, offset, block.get(), kBlock, actual)) return err;
        if (actual == 0) break;
        if (c.update(owner.context, block.get(), actual) != 1) return kIoErr;
        offset += int64_t(actual);
        if (actual < kBlock) break;
    }
    unsigned char value[kLongestDigest];
    unsigned int size = 0;
    if (c.final(owner.context, value, &size) != 1 || size > kLongestDigest) return kIoErr;
    const std::string_view bytes(reinterpret_cast<const char *>(value), size);
    answer = XP_HasSwitch(switches, "-Base64") ? ZbBase64Text(bytes) : ZbHexText(bytes);
    return 0;
}

}  // namespace

fmx::errcode ZbFile7_DoHash(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                            fmx::Data &result) {
    std::string answer;
    if (const long err = Hash(parameters, answer))
        XP7_OSErrLToData(err, result);
    else
        XP7_CStrToData(answer.c_str(), result);
    return 0;
}
