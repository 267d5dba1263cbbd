// SPDX-License-Identifier: Apache-2.0
//
// The two feature records of a frame: what the front end delivers, and the same with its differences.
//
// Plain arrays of single-precision floats; made in bulk by their pool and never copied but field by field.
#ifndef WVAD_FRONTEND_FEATURE_RECORDS_H_
#define WVAD_FRONTEND_FEATURE_RECORDS_H_

namespace TSEG {

constexpr int kFb24 = 24;           // filters of the first mel bank
constexpr int kFb40 = 40;           // filters of the second mel bank
constexpr int kFbAll = 64;          // both
constexpr int kFeatureFrame = 115;  // floats of a FeatureFrame on the read path

class StaticFeature {
 public:
  virtual ~StaticFeature() = default;
};

// One frame as the front end delivers it.
class StaticFeatureFB : public StaticFeature {
 public:
  float afFb24[kFb24] = {};     // log energies of the bank of 24
  float afFb40[kFb40] = {};     // log energies of the bank of 40
  float afFb24Cmn[kFb24] = {};  // afFb24 less the running mean
  float afFb40Cmn[kFb40] = {};  // afFb40 less the running mean
  float fPitch = 0;             // F0 in Hz times 0.05
  float fPitchAux = 0;          // pitch correlation times 80
  float fEnergy = 0;            // ln of the frame energy, or the K4 value
};

class DynamicFeature {
 public:
  virtual ~DynamicFeature() = default;
};

// One frame with first and second differences, once for the networks and once, raw, for the read path.
struct DynamicFeatureFB : public DynamicFeature {
  float afCmn24[kFb24] = {};       // afFb24Cmn of the centre frame
  float afDelta24[kFb24] = {};     // first difference of the raw afFb24
  float afAccel24[kFb24] = {};     // second difference, from afDelta24
  float afCmn40[kFb40] = {};       // afFb40Cmn of the centre frame
  float afRaw24[kFb24] = {};       // afFb24 of the centre frame
  float afRawDelta24[kFb24] = {};  // the values of afDelta24
  float afRawAccel24[kFb24] = {};  // second difference, from afRawDelta24
  float afRaw40[kFb40] = {};       // afFb40 of the centre frame
  float fPitch = 0;
  float fPitchDelta = 0;
  float fPitchAccel = 0;
  float fPitchAux = 0;
  float fEnergy = 0;
};

}  // namespace TSEG

#endif  // WVAD_FRONTEND_FEATURE_RECORDS_H_
