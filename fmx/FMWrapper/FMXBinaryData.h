// Container values: a set of typed streams.
#ifndef _h_BinaryData_
#define _h_BinaryData_

#include "FMWrapper/FMXClient.h"

namespace fmx {
class QuadChar;
class Text;

class BinaryData {
public:
    inline BinaryData &operator=(const BinaryData &source);
    inline bool operator==(const BinaryData &compareData) const;
    inline bool operator!=(const BinaryData &compareData) const;
    inline int32 GetCount() const;
    inline int32 GetIndex(const QuadChar &dataType) const;
    inline uint32 GetTotalSize() const;
    inline void GetType(int32 index, QuadChar &dataType) const;
    inline uint32 GetSize(int32 index) const;
    inline errcode GetData(int32 index, uint32 offset, uint32 amount, void *buffer) const;
    inline errcode Add(const QuadChar &dataType, uint32 amount, void *buffer);
    inline bool Remove(const QuadChar &dataType);
    inline void RemoveAll();
    inline errcode GetFNAMData(Text &filepathlist) const;
    inline errcode AddFNAMData(const Text &filepathlist);
    inline errcode GetSIZEData(short &width, short &height) const;
    inline errcode AddSIZEData(short width, short height);
    inline errcode AddBegin(const QuadChar &dataType, uint32 *context);
    inline errcode AddAppend(uint32 context, uint32 amount, void *buffer);
    inline errcode AddFinish(uint32 context);
    inline void operator delete(void *obj);

private:
    BinaryData();
    BinaryData(const BinaryData &source);
};

class BinaryDataUniquePtr : public std::unique_ptr<BinaryData> {
    typedef BinaryDataUniquePtr UpCaster;

public:
    inline BinaryDataUniquePtr();
    inline BinaryDataUniquePtr(const BinaryData &sourceData);
    inline BinaryDataUniquePtr(const Text &name, uint32 amount, void *buffer);
    inline BinaryDataUniquePtr(const Text &name, uint32 *context);
};
}  // namespace fmx

extern "C" {
FMX_API fmx::BinaryData *FM_BinaryData_Constructor1(fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::BinaryData *FM_BinaryData_Constructor2(const fmx::BinaryData &sourceData, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::BinaryData *FM_BinaryData_Constructor3(const fmx::Text &name, fmx::uint32 amount, void *buffer,
                                                   fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::BinaryData *FM_BinaryData_Constructor4(const fmx::Text &name, fmx::uint32 *context,
                                                   fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::BinaryData *FM_BinaryData_operatorAS(void *_self, const fmx::BinaryData &source,
                                                 fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_BinaryData_operatorEQ(const void *_self, const fmx::BinaryData &compareData,
                                      fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_BinaryData_operatorNE(const void *_self, const fmx::BinaryData &compareData,
                                      fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int32 FM_BinaryData_GetCount(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int32 FM_BinaryData_GetIndex(const void *_self, const fmx::QuadChar &dataType,
                                          fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_BinaryData_GetTotalSize(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_BinaryData_GetType(const void *_self, fmx::int32 index, fmx::QuadChar &dataType,
                                   fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_BinaryData_GetSize(const void *_self, fmx::int32 index, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_BinaryData_GetData(const void *_self, fmx::int32 index, fmx::uint32 offset,
                                           fmx::uint32 amount, void *buffer, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_BinaryData_Add(void *_self, const fmx::QuadChar &dataType, fmx::uint32 amount, void *buffer,
                                       fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_BinaryData_Remove(void *_self, const fmx::QuadChar &dataType, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_BinaryData_RemoveAll(void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_BinaryData_GetFNAMData(const void *_self, fmx::Text &filepathlist, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_BinaryData_AddFNAMData(void *_self, const fmx::Text &filepathlist, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_BinaryData_GetSIZEData(const void *_self, short &width, short &height,
                                               fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_BinaryData_AddSIZEData(void *_self, short width, short height, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_BinaryData_AddBegin(void *_self, const fmx::QuadChar &dataType, fmx::uint32 *context,
                                            fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_BinaryData_AddAppend(void *_self, fmx::uint32 context, fmx::uint32 amount, void *buffer,
                                             fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_BinaryData_AddFinish(void *_self, fmx::uint32 context, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_BinaryData_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;
}

namespace fmx {
using fmx_call::Call;
inline BinaryDataUniquePtr::BinaryDataUniquePtr() { reset(Call(FM_BinaryData_Constructor1)); }
inline BinaryDataUniquePtr::BinaryDataUniquePtr(const BinaryData &sourceData) {
    reset(Call(FM_BinaryData_Constructor2, sourceData));
}
inline BinaryDataUniquePtr::BinaryDataUniquePtr(const Text &name, uint32 amount, void *buffer) {
    reset(Call(FM_BinaryData_Constructor3, name, amount, buffer));
}
inline BinaryDataUniquePtr::BinaryDataUniquePtr(const Text &name, uint32 *context) {
    reset(Call(FM_BinaryData_Constructor4, name, context));
}
inline BinaryData &BinaryData::operator=(const BinaryData &source) {
    return *Call(FM_BinaryData_operatorAS, this, source);
}
inline bool BinaryData::operator==(const BinaryData &compareData) const {
    return Call(FM_BinaryData_operatorEQ, this, compareData);
}
inline bool BinaryData::operator!=(const BinaryData &compareData) const {
    return Call(FM_BinaryData_operatorNE, this, compareData);
}
inline int32 BinaryData::GetCount() const { return Call(FM_BinaryData_GetCount, this); }
inline int32 BinaryData::GetIndex(const QuadChar &dataType) const {
    return Call(FM_BinaryData_GetIndex, this, dataType);
}
inline uint32 BinaryData::GetTotalSize() const { return Call(FM_BinaryData_GetTotalSize, this); }
inline void BinaryData::GetType(int32 index, QuadChar &dataType) const {
    Call(FM_BinaryData_GetType, this, index, dataType);
}
inline uint32 BinaryData::GetSize(int32 index) const { return Call(FM_BinaryData_GetSize, this, index); }
inline errcode BinaryData::GetData(int32 index, uint32 offset, uint32 amount, void *buffer) const {
    return Call(FM_BinaryData_GetData, this, index, offset, amount, buffer);
}
inline errcode BinaryData::Add(const QuadChar &dataType, uint32 amount, void *buffer) {
    return Call(FM_BinaryData_Add, this, dataType, amount, buffer);
}
inline bool BinaryData::Remove(const QuadChar &dataType) { return Call(FM_BinaryData_Remove, this, dataType); }
inline void BinaryData::RemoveAll() { Call(FM_BinaryData_RemoveAll, this); }
inline errcode BinaryData::GetFNAMData(Text &filepathlist) const {
    return Call(FM_BinaryData_GetFNAMData, this, filepathlist);
}
inline errcode BinaryData::AddFNAMData(const Text &filepathlist) {
    return Call(FM_BinaryData_AddFNAMData, this, filepathlist);
}
inline errcode BinaryData::GetSIZEData(short &width, short &height) const {
    return Call(FM_BinaryData_GetSIZEData, this, width, height);
}
inline errcode BinaryData::AddSIZEData(short width, short height) {
    return Call(FM_BinaryData_AddSIZEData, this, width, height);
}
inline errcode BinaryData::AddBegin(const QuadChar &dataType, uint32 *context) {
    return Call(FM_BinaryData_AddBegin, this, dataType, context);
}
inline errcode BinaryData::AddAppend(uint32 context, uint32 amount, void *buffer) {
    return Call(FM_BinaryData_AddAppend, this, context, amount, buffer);
}
inline errcode BinaryData::AddFinish(uint32 context) { return Call(FM_BinaryData_AddFinish, this, context); }
inline void BinaryData::operator delete(void *obj) { Call(FM_BinaryData_Delete, obj); }
}  // namespace fmx

#endif
