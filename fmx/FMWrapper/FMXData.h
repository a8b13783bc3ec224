// A calculation value of any type.
#ifndef _h_Data_
#define _h_Data_

#include "FMWrapper/FMXClient.h"

namespace fmx {
class Text;
class FixPt;
class DateTime;
class BinaryData;
class Locale;

class Data {
public:
    enum DataType {
        kDTInvalid,
        kDTText,
        kDTNumber,
        kDTDate,
        kDTTime,
        kDTTimeStamp,
        kDTBinary,
        kDTBoolean
    };

    inline bool IsEmpty() const;
    inline bool IsValid() const;
    inline bool IsFindRequest() const;
    inline void Clear(DataType newNativeType = kDTInvalid);
    inline const Text &GetAsText() const;
    inline const FixPt &GetAsNumber() const;
    inline const DateTime &GetAsDate() const;
    inline const DateTime &GetAsTime() const;
    inline const DateTime &GetAsTimeStamp() const;
    inline bool GetAsBoolean() const;
    inline const BinaryData &GetBinaryData() const;
    inline const Locale &GetLocale() const;
    inline DataType GetNativeType() const;
    inline void ConvertData(DataType nativeType);
    inline errcode SetAsText(const Text &textData, const Locale &sourceLocale, const DataType nativeType = kDTText);
    inline void SetAsNumber(const FixPt &numericData, const DataType nativeType = kDTNumber);
    inline void SetAsDate(const DateTime &dateData, const DataType nativeType = kDTDate);
    inline void SetAsTime(const DateTime &timeData, const DataType nativeType = kDTTime);
    inline void SetAsTimeStamp(const DateTime &timeStampData, const DataType nativeType = kDTTimeStamp);
    inline void SetDateTime(const DateTime &dateTimeData, const DataType dateTimeType, const DataType nativeType);
    inline void SetBinaryData(const BinaryData &binaryData, bool forceBinaryNativeType = true);
    inline void operator delete(void *obj);

private:
    Data();
    Data(const Data &source);
};

class DataUniquePtr : public std::unique_ptr<Data> {
    typedef DataUniquePtr UpCaster;

public:
    inline DataUniquePtr();
};
}  // namespace fmx

extern "C" {
FMX_API fmx::Data *FM_Data_Constructor1(fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Data_IsEmpty(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Data_IsValid(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Data_IsFindRequest(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Data_Clear(void *_self, fmx::int32 newNativeType, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::Text *FM_Data_GetAsText(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::FixPt *FM_Data_GetAsNumber(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::DateTime *FM_Data_GetAsDate(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::DateTime *FM_Data_GetAsTime(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::DateTime *FM_Data_GetAsTimeStamp(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Data_GetAsBoolean(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::BinaryData *FM_Data_GetBinaryData(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::Locale *FM_Data_GetLocale(const void *_self, fmx::_fmxcpt &_x) noexcept;
// The host's own declaration returns a const value; the qualifier means nothing to callers.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
FMX_API const fmx::int32 FM_Data_GetNativeType(const void *_self, fmx::_fmxcpt &_x) noexcept;
#pragma GCC diagnostic pop
FMX_API void FM_Data_ConvertData(void *_self, fmx::int32 nativeType, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_Data_SetAsText(void *_self, const fmx::Text &textData, const fmx::Locale &sourceLocale,
                                       fmx::int32 nativeType, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Data_SetAsNumber(void *_self, const fmx::FixPt &numericData, fmx::int32 nativeType,
                                 fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Data_SetAsDate(void *_self, const fmx::DateTime &dateData, fmx::int32 nativeType,
                               fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Data_SetAsTime(void *_self, const fmx::DateTime &timeData, fmx::int32 nativeType,
                               fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Data_SetAsTimeStamp(void *_self, const fmx::DateTime &timeStampData, fmx::int32 nativeType,
                                    fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Data_SetDateTime(void *_self, const fmx::DateTime &dateTimeData, fmx::int32 dateTimeType,
                                 fmx::int32 nativeType, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Data_SetBinaryData(void *_self, const fmx::BinaryData &binaryData, bool forceBinaryNativeType,
                                   fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Data_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;
}

namespace fmx {
using fmx_call::Call;
inline DataUniquePtr::DataUniquePtr() { reset(Call(FM_Data_Constructor1)); }
inline bool Data::IsEmpty() const { return Call(FM_Data_IsEmpty, this); }
inline bool Data::IsValid() const { return Call(FM_Data_IsValid, this); }
inline bool Data::IsFindRequest() const { return Call(FM_Data_IsFindRequest, this); }
inline void Data::Clear(DataType newNativeType) { Call(FM_Data_Clear, this, int32(newNativeType)); }
inline const Text &Data::GetAsText() const { return *Call(FM_Data_GetAsText, this); }
inline const FixPt &Data::GetAsNumber() const { return *Call(FM_Data_GetAsNumber, this); }
inline const DateTime &Data::GetAsDate() const { return *Call(FM_Data_GetAsDate, this); }
inline const DateTime &Data::GetAsTime() const { return *Call(FM_Data_GetAsTime, this); }
inline const DateTime &Data::GetAsTimeStamp() const { return *Call(FM_Data_GetAsTimeStamp, this); }
inline bool Data::GetAsBoolean() const { return Call(FM_Data_GetAsBoolean, this); }
inline const BinaryData &Data::GetBinaryData() const { return *Call(FM_Data_GetBinaryData, this); }
inline const Locale &Data::GetLocale() const { return *Call(FM_Data_GetLocale, this); }
inline Data::DataType Data::GetNativeType() const { return DataType(Call(FM_Data_GetNativeType, this)); }
inline void Data::ConvertData(DataType nativeType) { Call(FM_Data_ConvertData, this, int32(nativeType)); }
inline errcode Data::SetAsText(const Text &textData, const Locale &sourceLocale, const DataType nativeType) {
    return Call(FM_Data_SetAsText, this, textData, sourceLocale, int32(nativeType));
}
inline void Data::SetAsNumber(const FixPt &numericData, const DataType nativeType) {
    Call(FM_Data_SetAsNumber, this, numericData, int32(nativeType));
}
inline void Data::SetAsDate(const DateTime &dateData, const DataType nativeType) {
    Call(FM_Data_SetAsDate, this, dateData, int32(nativeType));
}
inline void Data::SetAsTime(const DateTime &timeData, const DataType nativeType) {
    Call(FM_Data_SetAsTime, this, timeData, int32(nativeType));
}
inline void Data::SetAsTimeStamp(const DateTime &timeStampData, const DataType nativeType) {
    Call(FM_Data_SetAsTimeStamp, this, timeStampData, int32(nativeType));
}
inline void Data::SetDateTime(const DateTime &dateTimeData, const DataType dateTimeType, const DataType nativeType) {
    Call(FM_Data_SetDateTime, this, dateTimeData, int32(dateTimeType), int32(nativeType));
}
inline void Data::SetBinaryData(const BinaryData &binaryData, bool forceBinaryNativeType) {
    Call(FM_Data_SetBinaryData, this, binaryData, forceBinaryNativeType);
}
inline void Data::operator delete(void *obj) { Call(FM_Data_Delete, obj); }
}  // namespace fmx

#endif
