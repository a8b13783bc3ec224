// Parameter vectors, the calculation environment and function registration.
#ifndef _h_CalcEngine_
#define _h_CalcEngine_

#include "FMWrapper/FMXClient.h"

namespace fmx {
class Text;
class FixPt;
class DateTime;
class BinaryData;
class Data;

class DataVect {
public:
    inline uint32 Size() const;
    inline void Clear();
    inline bool IsEmpty() const;
    inline void PushBack(const Data &data);
    inline Data *PopBack();
    inline const Data &At(uint32 position) const;
    inline const Text &AtAsText(uint32 position) const;
    inline const FixPt &AtAsNumber(uint32 position) const;
    inline const DateTime &AtAsDate(uint32 position) const;
    inline const DateTime &AtAsTime(uint32 position) const;
    inline const DateTime &AtAsTimeStamp(uint32 position) const;
    inline bool AtAsBoolean(uint32 position) const;
    inline const BinaryData &AtAsBinaryData(uint32 position) const;
    inline void operator delete(void *obj);

private:
    DataVect();
    DataVect(const DataVect &source);
};

class DataVectUniquePtr : public std::unique_ptr<DataVect> {
    typedef DataVectUniquePtr UpCaster;

public:
    inline DataVectUniquePtr();
};

class ExprEnv;
FMX_PROCPTR(errcode, ExtPluginType)(short functionId, const ExprEnv &env, const DataVect &parms, Data &result);

class ExprEnv {
public:
    enum {
        kMayEvaluateOnServer = 0x00000001,
        kDisplayCalcFields = 0x00000100,
        kDisplayAutoEnter = 0x00000200,
        kDisplayValidation = 0x00000400,
        kDisplayCustomFunctions = 0x00000800,
        kDisplayPrivileges = 0x00001000,
        kDisplayInFuture1 = 0x00002000,
        kDisplayInFuture2 = 0x00004000,
        kDisplayGeneric = 0x00008000,
        kDisplayInAllDialogs = 0x0000FF00,
        kMacCompatible = 0x00000002,
        kWinCompatible = 0x00000004,
        kServerCompatible = 0x00000008,
        kIOSCompatible = 0x00000010,
        kCustomWebCompatible = 0x00000020,
        kWebDirectCompatible = 0x00000040,
        kAllDeviceCompatible = 0x0000007E,
        kFutureCompatible = 0x00FF007E
    };

    inline errcode Evaluate(const Text &expression, Data &result) const;
    static inline errcode RegisterExternalFunction(const QuadChar &pluginId, short functionId,
                                                   const Text &functionName, const Text &functionPrototype,
                                                   short minArgs, short maxArgs, uint32 compatibleOnFlags,
                                                   ExtPluginType funcPtr);
    static inline errcode UnRegisterExternalFunction(const QuadChar &pluginId, short functionId);
    inline ptrtype SessionID() const;
    inline ptrtype FileID() const;
    inline void operator delete(void *obj);

private:
    ExprEnv();
    ExprEnv(const ExprEnv &source);
};

class ExprEnvUniquePtr : public std::unique_ptr<ExprEnv> {
    typedef ExprEnvUniquePtr UpCaster;

public:
    inline ExprEnvUniquePtr();
};
}  // namespace fmx

extern "C" {
FMX_API fmx::DataVect *FM_DataVect_Constructor1(fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_DataVect_Size(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DataVect_Clear(void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_DataVect_IsEmpty(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DataVect_PushBack(void *_self, const fmx::Data &data, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::Data *FM_DataVect_PopBack(void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::Data *FM_DataVect_At(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::Text *FM_DataVect_AtAsText(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::FixPt *FM_DataVect_AtAsNumber(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::DateTime *FM_DataVect_AtAsDate(const void *_self, fmx::uint32 position,
                                                  fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::DateTime *FM_DataVect_AtAsTime(const void *_self, fmx::uint32 position,
                                                  fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::DateTime *FM_DataVect_AtAsTimeStamp(const void *_self, fmx::uint32 position,
                                                       fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_DataVect_AtAsBoolean(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::BinaryData *FM_DataVect_AtAsBinaryData(const void *_self, fmx::uint32 position,
                                                          fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DataVect_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;

FMX_API fmx::ExprEnv *FM_ExprEnv_Constructor1(fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_ExprEnv_Evaluate(const void *_self, const fmx::Text &expression, fmx::Data &result,
                                         fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_ExprEnv_RegisterExternalFunction(const fmx::QuadChar &pluginId, short functionId,
                                                         const fmx::Text &functionName,
                                                         const fmx::Text &functionPrototype, short minArgs,
                                                         short maxArgs, fmx::uint32 compatibleOnFlags,
                                                         fmx::ExtPluginType funcPtr, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_ExprEnv_UnRegisterExternalFunction(const fmx::QuadChar &pluginId, short functionId,
                                                           fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::ptrtype FM_ExprEnv_SessionID(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::ptrtype FM_ExprEnv_FileID(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_ExprEnv_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;
}

namespace fmx {
using fmx_call::Call;
inline DataVectUniquePtr::DataVectUniquePtr() { reset(Call(FM_DataVect_Constructor1)); }
inline uint32 DataVect::Size() const { return Call(FM_DataVect_Size, this); }
inline void DataVect::Clear() { Call(FM_DataVect_Clear, this); }
inline bool DataVect::IsEmpty() const { return Call(FM_DataVect_IsEmpty, this); }
inline void DataVect::PushBack(const Data &data) { Call(FM_DataVect_PushBack, this, data); }
inline Data *DataVect::PopBack() { return Call(FM_DataVect_PopBack, this); }
inline const Data &DataVect::At(uint32 position) const { return *Call(FM_DataVect_At, this, position); }
inline const Text &DataVect::AtAsText(uint32 position) const { return *Call(FM_DataVect_AtAsText, this, position); }
inline const FixPt &DataVect::AtAsNumber(uint32 position) const {
    return *Call(FM_DataVect_AtAsNumber, this, position);
}
inline const DateTime &DataVect::AtAsDate(uint32 position) const {
    return *Call(FM_DataVect_AtAsDate, this, position);
}
inline const DateTime &DataVect::AtAsTime(uint32 position) const {
    return *Call(FM_DataVect_AtAsTime, this, position);
}
inline const DateTime &DataVect::AtAsTimeStamp(uint32 position) const {
    return *Call(FM_DataVect_AtAsTimeStamp, this, position);
}
inline bool DataVect::AtAsBoolean(uint32 position) const { return Call(FM_DataVect_AtAsBoolean, this, position); }
inline const BinaryData &DataVect::AtAsBinaryData(uint32 position) const {
    return *Call(FM_DataVect_AtAsBinaryData, this, position);
}
inline void DataVect::operator delete(void *obj) { Call(FM_DataVect_Delete, obj); }

inline ExprEnvUniquePtr::ExprEnvUniquePtr() { reset(Call(FM_ExprEnv_Constructor1)); }
inline errcode ExprEnv::Evaluate(const Text &expression, Data &result) const {
    return Call(FM_ExprEnv_Evaluate, this, expression, result);
}
inline errcode ExprEnv::RegisterExternalFunction(const QuadChar &pluginId, short functionId, const Text &functionName,
                                                 const Text &functionPrototype, short minArgs, short maxArgs,
                                                 uint32 compatibleOnFlags, ExtPluginType funcPtr) {
    return Call(FM_ExprEnv_RegisterExternalFunction, pluginId, functionId, functionName, functionPrototype, minArgs,
                maxArgs, compatibleOnFlags, funcPtr);
}
inline errcode ExprEnv::UnRegisterExternalFunction(const QuadChar &pluginId, short functionId) {
    return Call(FM_ExprEnv_UnRegisterExternalFunction, pluginId, functionId);
}
inline ptrtype ExprEnv::SessionID() const { return Call(FM_ExprEnv_SessionID, this); }
inline ptrtype ExprEnv::FileID() const { return Call(FM_ExprEnv_FileID, this); }
inline void ExprEnv::operator delete(void *obj) { Call(FM_ExprEnv_Delete, obj); }
}  // namespace fmx

#endif
