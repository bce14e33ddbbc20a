// Per-kind and per-base-type operation tables of the type layer.
#include "types/kzt_cons.h"
#include "types/kzt_type.h"

namespace {

// Every getter below indexes one of these; a null row means "no such operation".
template <typename Fn, size_t N>
Fn PickRow(const Fn (&table)[N], uint32_t index)
{
    return index < N ? table[index] : nullptr;
}

constexpr KztConsCreateBodyFunc kCreateTbl[KZT_CONS_KIND_COUNT] = {
    KZT_CONS_CreateConsDataBodyWithDerived,  KZT_CONS_CreateConsDataBodyWithBase,
    KZT_CONS_CreateConsDataBodyWithBit,      KZT_CONS_CreateConsDataBodyWithEnum,
    KZT_CONS_CreateConsDataBodyWithFraction, KZT_CONS_CreateConsDataBodyWithRange, // length shares the range body
    KZT_CONS_CreateConsDataBodyWithPath,     KZT_CONS_CreateConsDataBodyWithPattern,
    KZT_CONS_CreateConsDataBodyWithRange,    KZT_CONS_CreateConsDataBodyWithUnion,
};

constexpr KztConsCopyBodyFunc kCopyTbl[KZT_CONS_KIND_COUNT] = {
    KZT_CONS_CopyConsDataBodyWithDerived,  KZT_CONS_CopyConsDataBodyWithBase,
    KZT_CONS_CopyConsDataBodyWithBit,      KZT_CONS_CopyConsDataBodyWithEnum,
    KZT_CONS_CopyConsDataBodyWithFraction, KZT_CONS_CopyConsDataBodyWithRange,
    KZT_CONS_CopyConsDataBodyWithPath,     KZT_CONS_CopyConsDataBodyWithPattern,
    KZT_CONS_CopyConsDataBodyWithRange,    KZT_CONS_CopyConsDataBodyWithUnion,
};

constexpr KztConsDestroyBodyFunc kDestroyTbl[KZT_CONS_KIND_COUNT] = {
    KZT_CONS_DestroyConsDataBodyWithDerived,   KZT_CONS_DestroyConsDataBodyWithBase,
    KZT_CONS_DestroyConsDataBodyWithBit,       KZT_CONS_DestroyConsDataBodyWithEnum,
    KZT_CONS_DestroyConsDataBodyWithNoDynamic, KZT_CONS_DestroyConsDataBodyWithRange,
    KZT_CONS_DestroyConsDataBodyWithPath,      KZT_CONS_DestroyConsDataBodyWithPattern,
    KZT_CONS_DestroyConsDataBodyWithRange,     KZT_CONS_DestroyConsDataBodyWithUnion,
};


constexpr KztConsCheckFunc kCheckTbl[KZT_CONS_KIND_COUNT] = {
    KZT_CONS_ValidateValueNodeAgainstDataDerived,  KZT_CONS_ValidateValueNodeAgainstDataBase,
    KZT_CONS_ValidateValueNodeAgainstDataBit,      KZT_CONS_ValidateValueNodeAgainstDataEnum,
    KZT_CONS_ValidateValueNodeAgainstDataFraction, KZT_CONS_ValidateValueNodeAgainstDataLength,
    KZT_CONS_ValidateValueNodeAgainstDataPath,     KZT_CONS_ValidateValueNodeAgainstDataPattern,
    KZT_CONS_ValidateValueNodeAgainstDataRange,    KZT_CONS_ValidateValueNodeAgainstDataUnion,
};

constexpr KztConsScanNameValueFunc kScanNameValueTbl[KZT_CONS_KIND_COUNT] = {
    nullptr, nullptr, KZT_CONS_ScanNameValuePairsWithBit, KZT_CONS_ScanNameValuePairsWithEnum,
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
};

constexpr KztConsScanStartEndFunc kScanStartEndTbl[KZT_CONS_KIND_COUNT] = {
    nullptr, nullptr, nullptr, nullptr, nullptr, KZT_CONS_ScanStartEndPairsWithLength,
    nullptr, nullptr, KZT_CONS_ScanStartEndPairsWithRange, nullptr,
};

constexpr KztConsUpdateDerFromFunc kUpdateTbl[KZT_CONS_KIND_COUNT] = {
    KZT_CONS_UpdateConsDataDerFromWithDerived, nullptr, nullptr, nullptr, nullptr,
    nullptr, nullptr, nullptr, nullptr, KZT_CONS_UpdateConsDataDerFromWithUnion,
};

constexpr KztBaseTypeCheckFunc kBaseCheckTbl[KZT_BASE_INVALID] = {
    nullptr,                                          // derived
    KZT_CONS_CheckValStrAgainstDefRestrictBinary,     // binary
    nullptr,                                          // bits
    KZT_CONS_CheckValStrAgainstDefRestrictBoolean,    // boolean
    KZT_CONS_CheckValStrAgainstDefRestrictDecimal64,  // decimal64
    KZT_CONS_CheckValStrAgainstDefRestrictEmpty,      // empty
    nullptr,                                          // enumeration
    nullptr,                                          // identityref
    nullptr,                                          // instance-identifier
    KZT_CONS_CheckValStrAgainstDefRestrictRange,      // int8
    KZT_CONS_CheckValStrAgainstDefRestrictRange,      // int16
    KZT_CONS_CheckValStrAgainstDefRestrictRange,      // int32
    KZT_CONS_CheckValStrAgainstDefRestrictRange,      // int64
    nullptr,                                          // leafref
    KZT_CONS_CheckValStrAgainstDefRestrictLength,     // string
    KZT_CONS_CheckValStrAgainstDefRestrictRange,      // uint8
    KZT_CONS_CheckValStrAgainstDefRestrictRange,      // uint16
    KZT_CONS_CheckValStrAgainstDefRestrictRange,      // uint32
    KZT_CONS_CheckValStrAgainstDefRestrictRange,      // uint64
    nullptr,                                          // union
};

} // namespace

extern "C" {

KztConsCreateBodyFunc KZT_CONS_GetConsDataCreateBodyFunc(KztConsType kind)
{
    return PickRow(kCreateTbl, kind);
}

KztConsCopyBodyFunc KZT_CONS_GetConsDataCopyBodyFunc(KztConsType kind)
{
    return PickRow(kCopyTbl, kind);
}

KztConsDestroyBodyFunc KZT_CONS_GetConsDataDestroyBodyFunc(KztConsType kind)
{
    return PickRow(kDestroyTbl, kind);
}

KztConsCheckFunc KZT_CONS_GetConsDataValueRestricationCheckFunc(KztConsType kind)
{
    return PickRow(kCheckTbl, kind);
}

KztConsScanNameValueFunc KZT_CONS_GetConsDataScanNameValueFunc(KztConsType kind)
{
    return PickRow(kScanNameValueTbl, kind);
}

KztConsScanStartEndFunc KZT_CONS_GetConsDataScanStartEndFunc(KztConsType kind)
{
    return PickRow(kScanStartEndTbl, kind);
}

KztConsUpdateDerFromFunc KZT_CONS_GetConsDataUpdateDerFromModFunc(KztConsType kind)
{
    return PickRow(kUpdateTbl, kind);
}

KztBaseTypeCheckFunc KZT_CONS_GetBaseTypeDefRestrictCheckFunc(KztBaseType baseType)
{
    return PickRow(kBaseCheckTbl, baseType);
}

} // extern "C"
