// SPDX-License-Identifier: Apache-2.0
//
// CFG_VAD: every tunable value of the engine in one record, with its text forms. The names are in params/param_table.h.
//
// An engine has a default set (built-in values, then for the one of the process the file "w_tseg.cfg", then seven values of the model);
// each instance has its own copy. No lock: a default set is written during start-up alone.
#ifndef WVAD_PARAMS_CFG_VAD_H_
#define WVAD_PARAMS_CFG_VAD_H_

#include <cstdint>
#include <string>

namespace TSEG {

// Fields in table order. Frames are 10 ms.
class CFG_VAD {
 public:
  int32_t wvad_param_normal_none = 0;
  bool wvad_param_isTsegLstm = true;
  int32_t wvad_param_SampleRate = 16000;
  std::string wvad_param_TsegModelType = "lstm_fb75";
  std::string wvad_param_model_path = "vad/";
  std::string wvad_param_model_name;
  bool wvad_param_isLinkVadResult = false;
  int32_t wvad_param_nSpeechTailMS = 1800;
  int32_t wvad_param_nFrameGap = 40;
  int32_t wvad_param_nStartSearchWinGap = 40;
  int32_t wvad_param_nFrameJump = 2;
  int32_t wvad_param_nReadType = 0;
  int32_t wvad_param_nFrameStartMargin = 30;
  int32_t wvad_param_nFrameEndMargin = 20;
  int32_t wvad_param_nSpeechTimeOut = 60000;
  int32_t wvad_param_nResponseTimeOut = 10000;
  float wvad_param_fEnergyThresholdMultiple = 1.0f;
  bool wvad_param_isVadDegOn = false;
  bool wvad_param_bKelOn = false;
  bool wvad_param_isTsegDoCMN = true;
  bool wvad_param_isReadFtrDoCMN = false;
  bool wvad_param_isDebugWatch = false;
  int32_t wvad_param_nEnergyThreshhood = 16;  // (sic)
  std::string wvad_param_debug_log_filename = "vad_debug.txt";
  int32_t wvad_param_nSilBytes = 0;
  int32_t wvad_param_nFrameGapFriendyFirst = 1000;   // (sic)
  int32_t wvad_param_nFrameGapFriendySecond = 2000;  // (sic)
  float wvad_param_vol_threshold = 8.0f;
  float wvad_param_fnt_threshold = 70.0f;
  float wvad_param_fnt_score_threshold = 19.0f;
  float wvad_param_bkt_threshold = 60.0f;
  int32_t wvad_param_cmn_type = 0;
  int32_t wvad_param_srec_cmn_type = 0;
  float wvad_param_vad_threshold = 0.7f;
  bool wvad_param_k4_energy = false;
  bool wvad_param_isLstmSubsentenceAutoResetOn = false;
  bool wvad_param_isSilenceAutoResetOn = false;
  bool wvad_param_isSilenceAutoResetSubsentenceOn = false;
  int32_t wvad_param_nSilenceAutoReset_WinSize = 400;
  bool wvad_param_isPostProcessWinSlideOn = false;
  bool wvad_param_vad_AgcOn = false;
  bool wvad_param_vad_ReadAGC = false;
  int32_t wvad_param_vad_LstmPaddingNum = 32;
  int32_t wvad_param_vad_StartPointJudgeWinLen = 20;
  int32_t wvad_param_nPostProcessWinSlide_Threshold = 15;
  int32_t wkel_param_normal_none = 0;
  int32_t wkel_param_sampleRate = 16000;
  float wkel_param_snr_threshold = 4.5f;
  float wkel_param_cur_threshold = 0.08f;
  int32_t wkel_param_normal_count = 0;
  int32_t wvad_param_normal_count = 0;

  // Reads section "vad" of "w_tseg.cfg" in the current folder over this object. Never fails: bad values become 0 or false.
  void init();
  // Sets the normal parameter `name` from its whole text. False if the name is none (position 0 included) or the text has 257 characters or
  // more. A number that does not convert whole leaves as boost::bad_lexical_cast.
  bool set_para_value(const char* name, const char* value);
  // Gives the normal parameter `name` as text with its terminator. False if the name is none or `nLen` bytes do not hold it. An empty
  // text copies nothing.
  bool get_para_value(const char* name, char* value, unsigned nLen);

  std::string model_type() const { return wvad_param_TsegModelType; }
  std::string model_path() const { return wvad_param_model_path; }
  std::string model_name() const { return wvad_param_model_name; }
  std::string debug_log_filename() const { return wvad_param_debug_log_filename; }
};

}  // namespace TSEG

#endif  // WVAD_PARAMS_CFG_VAD_H_
