// SPDX-License-Identifier: Apache-2.0
//
// The one table of the engine's parameters: name and, for the normal ones, the field of CFG_VAD. Positions and counts come from it.
//
// Constant data; nothing here allocates or fails.
#ifndef WVAD_PARAMS_PARAM_TABLE_H_
#define WVAD_PARAMS_PARAM_TABLE_H_

#include <iterator>

#include "params/cfg_vad.h"
#include "params/param_set.h"

namespace TSEG {

// First the normal parameters, fields of CFG_VAD under their own names; from "wvad_param_normal_count" on the special names, which the
// parameter functions handle themselves. The `_none` and `_count` rows are markers.
#define WVAD_NORMAL_PARAM(field) \
  { #field, &CFG_VAD::field }
inline constexpr ParamRow<CFG_VAD> kVadParams[] = {
    WVAD_NORMAL_PARAM(wvad_param_normal_none),
    WVAD_NORMAL_PARAM(wvad_param_isTsegLstm),
    WVAD_NORMAL_PARAM(wvad_param_SampleRate),
    WVAD_NORMAL_PARAM(wvad_param_TsegModelType),
    WVAD_NORMAL_PARAM(wvad_param_model_path),
    WVAD_NORMAL_PARAM(wvad_param_model_name),
    WVAD_NORMAL_PARAM(wvad_param_isLinkVadResult),
    WVAD_NORMAL_PARAM(wvad_param_nSpeechTailMS),
    WVAD_NORMAL_PARAM(wvad_param_nFrameGap),
    WVAD_NORMAL_PARAM(wvad_param_nStartSearchWinGap),
    WVAD_NORMAL_PARAM(wvad_param_nFrameJump),
    WVAD_NORMAL_PARAM(wvad_param_nReadType),
    WVAD_NORMAL_PARAM(wvad_param_nFrameStartMargin),
    WVAD_NORMAL_PARAM(wvad_param_nFrameEndMargin),
    WVAD_NORMAL_PARAM(wvad_param_nSpeechTimeOut),
    WVAD_NORMAL_PARAM(wvad_param_nResponseTimeOut),
    WVAD_NORMAL_PARAM(wvad_param_fEnergyThresholdMultiple),
    WVAD_NORMAL_PARAM(wvad_param_isVadDegOn),
    WVAD_NORMAL_PARAM(wvad_param_bKelOn),
    WVAD_NORMAL_PARAM(wvad_param_isTsegDoCMN),
    WVAD_NORMAL_PARAM(wvad_param_isReadFtrDoCMN),
    WVAD_NORMAL_PARAM(wvad_param_isDebugWatch),
    WVAD_NORMAL_PARAM(wvad_param_nEnergyThreshhood),  // (sic)
    WVAD_NORMAL_PARAM(wvad_param_debug_log_filename),
    WVAD_NORMAL_PARAM(wvad_param_nSilBytes),
    WVAD_NORMAL_PARAM(wvad_param_nFrameGapFriendyFirst),   // (sic)
    WVAD_NORMAL_PARAM(wvad_param_nFrameGapFriendySecond),  // (sic)
    WVAD_NORMAL_PARAM(wvad_param_vol_threshold),
    WVAD_NORMAL_PARAM(wvad_param_fnt_threshold),
    WVAD_NORMAL_PARAM(wvad_param_fnt_score_threshold),
    WVAD_NORMAL_PARAM(wvad_param_bkt_threshold),
    WVAD_NORMAL_PARAM(wvad_param_cmn_type),
    WVAD_NORMAL_PARAM(wvad_param_srec_cmn_type),
    WVAD_NORMAL_PARAM(wvad_param_vad_threshold),
    WVAD_NORMAL_PARAM(wvad_param_k4_energy),
    WVAD_NORMAL_PARAM(wvad_param_isLstmSubsentenceAutoResetOn),
    WVAD_NORMAL_PARAM(wvad_param_isSilenceAutoResetOn),
    WVAD_NORMAL_PARAM(wvad_param_isSilenceAutoResetSubsentenceOn),
    WVAD_NORMAL_PARAM(wvad_param_nSilenceAutoReset_WinSize),
    WVAD_NORMAL_PARAM(wvad_param_isPostProcessWinSlideOn),
    WVAD_NORMAL_PARAM(wvad_param_vad_AgcOn),
    WVAD_NORMAL_PARAM(wvad_param_vad_ReadAGC),
    WVAD_NORMAL_PARAM(wvad_param_vad_LstmPaddingNum),
    WVAD_NORMAL_PARAM(wvad_param_vad_StartPointJudgeWinLen),
    WVAD_NORMAL_PARAM(wvad_param_nPostProcessWinSlide_Threshold),
    WVAD_NORMAL_PARAM(wkel_param_normal_none),
    WVAD_NORMAL_PARAM(wkel_param_sampleRate),
    WVAD_NORMAL_PARAM(wkel_param_snr_threshold),
    WVAD_NORMAL_PARAM(wkel_param_cur_threshold),
    WVAD_NORMAL_PARAM(wkel_param_normal_count),
    WVAD_NORMAL_PARAM(wvad_param_normal_count),  // set by the file alone
    {"wvad_param_special_none"},
    {"wvad_param_readtype"},
    {"wvad_para_vadtype"},       // (sic)
    {"wvad_para_nTimeSilTail"},  // (sic)
    {"VAD_PARAM_SPEECHGAP"},
    {"VAD_PARAM_SPEECHTAIL"},
    {"VAD_PARAM_SPEECHENHANCE"},
    {"VAD_PARAM_SPEECHTIMEOUT"},
    {"VAD_PARAM_SAMPLERATE"},
    {"VAD_PARAM_MARGIN"},
    {"VAD_PARAM_START_MARGIN"},
    {"VAD_PARAM_END_MARGIN"},
    {"VAD_PARAM_SID"},
    {"wkel_param_special_none"},
    {"wkel_param_sid"},
    {"wkel_param_special_count"},
};
#undef WVAD_NORMAL_PARAM

// Positions that code speaks of.
enum ParamAt : int {
  kParamKelSampleRate = ParamPosition<kVadParams>("wkel_param_sampleRate"),
  kParamKelCurThreshold = ParamPosition<kVadParams>("wkel_param_cur_threshold"),
  kParamReadType = ParamPosition<kVadParams>("wvad_param_readtype"),
  kParamVadType = ParamPosition<kVadParams>("wvad_para_vadtype"),
  kParamTimeSilTail = ParamPosition<kVadParams>("wvad_para_nTimeSilTail"),
  kParamSpeechGap = ParamPosition<kVadParams>("VAD_PARAM_SPEECHGAP"),
  kParamSpeechTail = ParamPosition<kVadParams>("VAD_PARAM_SPEECHTAIL"),
  kParamSpeechEnhance = ParamPosition<kVadParams>("VAD_PARAM_SPEECHENHANCE"),
  kParamSpeechTimeOut = ParamPosition<kVadParams>("VAD_PARAM_SPEECHTIMEOUT"),
  kParamSampleRate = ParamPosition<kVadParams>("VAD_PARAM_SAMPLERATE"),
  kParamSid = ParamPosition<kVadParams>("VAD_PARAM_SID"),
  kParamKelSid = ParamPosition<kVadParams>("wkel_param_sid")
};
constexpr int kParamNormalCount = ParamPosition<kVadParams>("wvad_param_normal_count");
constexpr int kParamCount = static_cast<int>(std::size(kVadParams));

// The name at `position`.
constexpr const char* ParamName(int position) { return kVadParams[position].name; }
// The position of `name` in [first, last], exact and case-sensitive; -1 if it is not there.
constexpr int FindParam(const char* name, int first, int last) { return FindParamRow(kVadParams, name, first, last); }

}  // namespace TSEG

#endif  // WVAD_PARAMS_PARAM_TABLE_H_
