// SPDX-License-Identifier: Apache-2.0
//
// The one table of parameter names: position, name and, for the normal parameters, the field. The position of a name is its identity.
#include "params/param_table.h"

#include <cstring>

namespace TSEG {
namespace {

struct NormalParam {
  const char* name;
  ParamField field;
};

#define WVAD_NORMAL_PARAM(field) \
  { #field, &CFG_VAD::field }
constexpr NormalParam kNormalParams[kParamNormalCount] = {
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
};
#undef WVAD_NORMAL_PARAM

// The last entry closes the table and is never matched.
constexpr const char* kSpecialParams[kParamCount - kParamNormalCount + 1] = {
    "wvad_param_normal_count", "wvad_param_special_none",  "wvad_param_readtype",
    "wvad_para_vadtype",       // (sic)
    "wvad_para_nTimeSilTail",  // (sic)
    "VAD_PARAM_SPEECHGAP",     "VAD_PARAM_SPEECHTAIL",     "VAD_PARAM_SPEECHENHANCE",  "VAD_PARAM_SPEECHTIMEOUT", "VAD_PARAM_SAMPLERATE",
    "VAD_PARAM_MARGIN",        "VAD_PARAM_START_MARGIN",   "VAD_PARAM_END_MARGIN",     "VAD_PARAM_SID",           "wkel_param_special_none",
    "wkel_param_sid",          "wkel_param_special_count", "wvad_param_special_count",
};

}  // namespace

const char* ParamName(int position) {
  return position < kParamNormalCount ? kNormalParams[position].name : kSpecialParams[position - kParamNormalCount];
}

int FindParam(const char* name, int first, int last) {
  for (int i = first; i <= last; ++i) {
    if (std::strcmp(ParamName(i), name) == 0) return i;
  }
  return -1;
}

const ParamField& ParamFieldAt(int position) { return kNormalParams[position].field; }

}  // namespace TSEG
