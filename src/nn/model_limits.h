// SPDX-License-Identifier: Apache-2.0
//
// What the forward passes can take: their buffers have fixed sizes, and a model that does not fit them must be refused when it is loaded.
//
// Pure functions of the record. A model for which they return true is run without a read or a write outside of the buffers of the forward
// object and outside of the blocks of the model, whatever the values in it are. The forward passes themselves check nothing.
//
// DnnModel: 2 to 9 layers; an input row of exactly 832 values, of which nContext x nFeatureDim are normalised; at most 832 rows in every
// layer, each layer's columns the rows of the one before it; 2 outputs or more, but not more than the last layer has rows; pre-activations
// of the hidden layers with 8 to 27 fraction bits and outputs with at most 29, the last layer with at most 31.
//
// LstmModel: 1 to 5 layers; nFramesPerStep x nFeatureDim values normalised, and at most 320 columns in layer 0; above it not more columns
// than the layer below has projected rows; at most 2048 gate rows, cell rows, peephole and projection columns; at most 96 projected rows (a
// ring slot); an `fc` of at most 480 columns and 1280 rows; a `softmax` of at most `fc`'s rows as columns and 1280 rows.
// Every tensor lies inside of `pBlock` with four bytes for each of its values.
#ifndef WVAD_NN_MODEL_LIMITS_H_
#define WVAD_NN_MODEL_LIMITS_H_

#include "nn/network_models.h"

namespace TSEG {

bool DnnModelFits(const DnnModel& model);
bool LstmModelFits(const LstmModel& model);

}  // namespace TSEG

#endif  // WVAD_NN_MODEL_LIMITS_H_
