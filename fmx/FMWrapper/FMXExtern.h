// Host plug-in interface: basic types, the parameter block and the entry point.
// Written from the interface facts of the host; spelled as the host's SDK spells it so that the
// plug-in sources compile against either set of headers.
#ifndef _h_Extern_
#define _h_Extern_

#if defined(__GNUC__) && (__cplusplus >= 201103L)
#define FMX_PACK __attribute__((packed))
#define FMX_PROC(retType) retType
#define FMX_PROCPTR(retType, name) typedef retType (*name)
#define FMX_ENTRYPT
#define FMX_API
#elif defined(_MSC_VER) && (_MSC_VER >= 1800)
#define FMX_PACK
#define FMX_PROC(retType) retType __stdcall
#define FMX_PROCPTR(retType, name) typedef retType(__stdcall * name)
#define FMX_ENTRYPT __declspec(dllexport)
#define FMX_API __declspec(dllimport)
#else
#error "Unsupported compiler"
#endif

namespace fmx {
typedef unsigned char uchar;
typedef short int16;
typedef unsigned short uint16;
typedef int int32;
typedef unsigned int uint32;
#if defined(_MSC_VER)
typedef __int64 int64;
typedef unsigned __int64 uint64;
typedef int16 unusedid;
#else
typedef long int64;
typedef unsigned long uint64;
typedef int32 unusedid;
#endif
typedef uint64 ptrtype;
typedef short errcode;
typedef unsigned short unichar16;

class Text;
class Data;
class ExprEnv;
}  // namespace fmx

extern "C" {

typedef fmx::Text FMX_Text;
typedef fmx::Data FMX_Data;
typedef fmx::ExprEnv FMX_ExprEnv;

typedef fmx::uchar FMX_UChar;
typedef fmx::int16 FMX_Int16;
typedef fmx::uint16 FMX_UInt16;
typedef fmx::int32 FMX_Int32;
typedef fmx::uint32 FMX_UInt32;
typedef fmx::unichar16 FMX_Unichar;
typedef fmx::errcode FMX_ErrorCode;
typedef fmx::ptrtype FMX_PtrType;
typedef char FMX_Char;
typedef char FMX_Boolean;

enum {
    kBadExtnVersion = -1,
    kDoNotEnable = -2,
    k40ExtnVersion = 11,
    k41ExtnVersion = 12,
    k50ExtnVersion = 14,
    k60ExtnVersion = 17,
    k70ExtnVersion = 50,
    k80ExtnVersion = 51,
    k110ExtnVersion = 52,
    k120ExtnVersion = 53,
    k130ExtnVersion = 54,
    k140ExtnVersion = 55,
    k150ExtnVersion = 56,
    k160ExtnVersion = 57,
    k170ExtnVersion = 59,
    k180ExtnVersion = 60,
    k190ExtnVersion = 62,
    k191ExtnVersion = 63,
    k192ExtnVersion = 64,
    k193ExtnVersion = 65,
    k194ExtnVersion = 66,
    k195ExtnVersion = 67,
    k196ExtnVersion = 68,
    k201ExtnVersion = 71,
    k202ExtnVersion = 72,
    k203ExtnVersion = 73,
    k210ExtnVersion = 74,
    k211ExtnVersion = 75,
    k220ExtnVersion = 76,
    k221ExtnVersion = 77,
    kCurrentExtnVersion = 77,
    kMinExtnVersion = 4,
    kMaxExtnVersion = 255
};

typedef FMX_UChar FMX_ExternCallSwitch;
enum {
    kFMXT_Init = 0,
    kFMXT_Idle = 1,
    kFMXT_External = 3,
    kFMXT_Shutdown = 4,
    kFMXT_DoAppPreferences = 5,
    kFMXT_GetString = 7,
    kFMXT_SessionShutdown = 8,
    kFMXT_FileShutdown = 9,
    kFMXT_SchemaChange = 10
};

typedef FMX_UChar FMX_ScriptControl;
enum { kFMXT_Halt = 0, kFMXT_Exit = 1, kFMXT_Resume = 2, kFMXT_Pause = 3 };

typedef FMX_UChar FMX_IdleLevel;
enum {
    kFMXT_UserIdle = 0,
    kFMXT_UserNotIdle = 1,
    kFMXT_ScriptPaused = 2,
    kFMXT_ScriptRunning = 3,
    kFMXT_Unsafe = 4
};

typedef FMX_UChar FMX_Application;
enum {
    kFMXT_Developer = 0,
    kFMXT_Pro = 1,
    kFMXT_Runtime = 2,
    kFMXT_Server = 3,
    kFMXT_Web = 4,
    kFMXT_Mobile = 5,
    kFMXT_XDBC = 6,
    kFMXT_SASE = 7,
    kFMXT_IWP = 8,
    kFMXT_FMDAPI = 9,
    kFMXT_OData = 11,
    kFMXT_Tool = 99
};

typedef FMX_UChar FMX_Strings;
enum {
    kFMXT_NameStr = 128,
    kFMXT_AppConfigStr = 129,
    kFMXT_OptionsStr = 131,
    kFMXT_HelpURLStr = 132
};

FMX_PROCPTR(FMX_ErrorCode, FMX_StartScriptCall)(const FMX_Text *fileName, const FMX_Text *scriptName,
                                                FMX_ScriptControl control, const FMX_Data *parameter);
FMX_PROCPTR(FMX_ErrorCode, FMX_CurrentEnvCall)(FMX_ExprEnv *env);

struct FMX_ExternCallStruct;
typedef struct FMX_ExternCallStruct *FMX_ExternCallPtr;
FMX_PROCPTR(void, FMX_ExternCallProc)(FMX_ExternCallPtr pb);

#if defined(_MSC_VER)
#pragma pack(push, 1)
#endif
struct FMX_ExternCallStruct {
    FMX_Int16 extnVersion;
    fmx::unusedid unusedID;
    FMX_ExternCallProc entryPoint;
    FMX_Boolean unusedFlag;
    FMX_ExternCallSwitch whichCall;
    FMX_Boolean unsafeCalls;
    FMX_UChar parm1;
    FMX_PtrType parm2;
    FMX_PtrType parm3;
    FMX_PtrType instanceID;
    FMX_PtrType result;
    FMX_PtrType unused;
    FMX_StartScriptCall cStartScript;
    FMX_CurrentEnvCall cCurrentEnv;
} FMX_PACK;
static_assert(sizeof(FMX_ExternCallStruct) == (sizeof(void *) == 8 && sizeof(fmx::unusedid) == 4 ? 74 : 72),
              "the parameter block must be packed");
#if defined(_MSC_VER)
#pragma pack(pop)
#endif

// Defined by the plug-in.
FMX_ENTRYPT void FMExternCallProc(FMX_ExternCallPtr pb);
extern FMX_ExternCallPtr gFMX_ExternCallPtr;

}  // extern "C"

#define FMX_StartScript(fileName, scriptName, control, parameter) \
    (gFMX_ExternCallPtr->cStartScript)(fileName, scriptName, control, parameter)
#define FMX_SetToCurrentEnv(env) (gFMX_ExternCallPtr->cCurrentEnv)(env)

#endif
