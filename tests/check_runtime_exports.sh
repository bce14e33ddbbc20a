#!/usr/bin/env bash
# Checks that the shared library exports every runtime function under its
# exact name, and the allocator globals in their fixed order.
# Usage: check_runtime_exports.sh LIBRARY
set -euo pipefail
lib="$1"

runtime_names="
KX_CTX_IgnoreImportModError
KZS_MOD_ClearErrInfoNode KZS_MOD_CreateErrNode KZS_MOD_FreeErrModNode KZS_MOD_RecordErrorInfo
KZS_MOD_ScanModAllLoadFail KZS_MOD_SetErrInfoNode
KZ_CTX_AddErrorMsgToMod KZ_CTX_AddModError KZ_CTX_AddModRelationItem KZ_CTX_AddModRelationTbl
KZ_CTX_AddModWarning KZ_CTX_AddModuleNode KZ_CTX_AddTwoModRelation KZ_CTX_AllocSearchDirBufferIfNeed
KZ_CTX_AppendSearchDirToTbl KZ_CTX_ClearCurYinFile KZ_CTX_ClearModCoupleErr KZ_CTX_ClearModErrByLoadStage
KZ_CTX_ClearSearchDirAtPos KZ_CTX_CollectDepModNamesRecursive KZ_CTX_CompareModRelationTbl
KZ_CTX_CompareModuleName KZ_CTX_Create KZ_CTX_DeInitModRelationTree KZ_CTX_DeInitModuleTree
KZ_CTX_DelTwoModRelation KZ_CTX_Delete KZ_CTX_DeleteErrNodeByModName KZ_CTX_DeleteModRelationItem
KZ_CTX_DeleteModRelationTbl KZ_CTX_DestoryErrMngTree KZ_CTX_DestroyErrMng KZ_CTX_DestroyModuleNode
KZ_CTX_DisableModFeature KZ_CTX_FindFeatureByModNameAndFeatName KZ_CTX_FindIdentityByModNameAndIdentName
KZ_CTX_FindModRelationItem KZ_CTX_FindModRelationTbl KZ_CTX_FindSearchDirInTbl
KZ_CTX_FindTdefObjByModAndTdefName KZ_CTX_FormatInputPath KZ_CTX_FreeSearchDirs KZ_CTX_GetCurYinFile
KZ_CTX_GetErrNodeByModName KZ_CTX_GetLoadStage KZ_CTX_GetModuleByModName KZ_CTX_GetModuleByModNs
KZ_CTX_GetTargetNode KZ_CTX_ImplAddModError KZ_CTX_InitErrMng KZ_CTX_InitModRelationTree
KZ_CTX_InitModuleTree KZ_CTX_IsModFeatureEnable KZ_CTX_ModTreeKeyCompare KZ_CTX_NotifyModuleChange
KZ_CTX_ScanAllSchemaLoadFail KZ_CTX_SetBeforeDeviateExtInstFunc KZ_CTX_SetBeforeDeviateNotSupportFunc
KZ_CTX_SetCurYinFile KZ_CTX_SetExtInstFilterCbFunc KZ_CTX_SetFirstAugChildRelinkFunc KZ_CTX_SetLoadStage
KZ_CTX_SetPridataFreeFunc KZ_CTX_SetReloadModuleCbFunc KZ_CTX_SetSearchDir KZ_CTX_UnSetSearchDir
KZ_CTX_UpdateSearchDirAgainstTbl
KZ_DICT_Destroy KZ_DICT_HashVal KZ_DICT_Init KZ_DICT_Insert KZ_DICT_Remove
KZ_MOD_ClearErrByLoadStage KZ_MOD_GetSemanticVersion KZ_MOD_ScanAugmentModules
KZ_MemFree KZ_MemMalloc
KZ_UTL_ConsumeAllSpaceChar KZ_UTL_ConsumeIdentNameBestEffort KZ_UTL_ConsumeIdentNameFromTail
KZ_UTL_CountCharNumber KZ_UTL_CreateEmptyString KZ_UTL_ExpandArray KZ_UTL_GetProcInfoValue
KZ_UTL_GetSysTotalMem KZ_UTL_GetXPathNextNodeName KZ_UTL_GetXPathNextPredicatedPrefixNode
KZ_UTL_GetXPathNextPrefixAndNode KZ_UTL_IsNulStringEqual KZ_UTL_MatchStrWithPattern KZ_UTL_MemFuncInit
KZ_UTL_MemFuncInitInner KZ_UTL_NewArray KZ_UTL_ReadInputStrAsSignedInteger
KZ_UTL_ReadInputStrAsUnsignedInteger KZ_UTL_ReadTotalMemFromFile KZ_UTL_SkipPredicateParis KZ_UTL_StrDup
KZ_UTL_StrDupWithSpecifyLength KZ_UTL_Strnchr
KZ_XML_GetElemNodeContent KZ_XML_GetFirstChildNodeWithPriVal KZ_XML_GetFirstPropertyValue
KZ_XML_GetParentNodeByTraverse KZ_XML_GetTargetPropertyValue KZ_XML_GetXmlDomNextNode
KZ_XML_GetXmlDomSibOrParent KZ_XML_GetXmlNodeDefaultNs
KZ_CTX_LoadModule KZ_CTX_LoadMemory KZ_CTX_LoadYangMemory KZ_CTX_UnloadModule KZ_XPATH_SplitTargetNodeXpath
"
globals="g_kzMemMutex g_kzFirstProtectArr g_kzMemHandle g_kzMemPt g_kzMemFuncInit g_kzSecondProtectArr"

table="$(nm -D --defined-only "$lib")"
has() { awk -v n="$1" '$3 == n { found = 1 } END { exit !found }' <<<"$table"; }

failed=0
checked=0
for n in $runtime_names $globals; do
    checked=$((checked + 1))
    if ! has "$n"; then
        echo "missing export: $n"
        failed=$((failed + 1))
    fi
done

# The guard arrays sit around the allocator state in this order.
prev=""
for g in $globals; do
    addr="$(awk -v n="$g" '$3 == n { print $1 }' <<<"$table")"
    [ -n "$addr" ] || continue
    if [ -n "$prev" ] && [ $((16#$addr)) -le $((16#$prev)) ]; then
        echo "global out of order: $g at $addr"
        failed=$((failed + 1))
    fi
    prev="$addr"
done

echo "$((checked - failed)) passed, $failed failed"
[ "$failed" -eq 0 ]
