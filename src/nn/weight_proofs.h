// SPDX-License-Identifier: Apache-2.0
//
// What can be said of 8-bit weights before anything runs: that no step of their product can saturate, whatever the activations.
//
// The products of bytes are defined with 16-bit steps that saturate (kernels.h). Where none of them can, the result is the plain sum, and a
// level may form it as it likes: a model marks such weights, and the forward pass takes the kernels `unclipped` for them. The bounds are
// reached: with one unit more, some activations saturate.
//
// Pure functions of the weights, rows x cols, row-major; they look at the rows and columns that the kernel takes, and at no others.
#ifndef WVAD_NN_WEIGHT_PROOFS_H_
#define WVAD_NN_WEIGHT_PROOFS_H_

#include "nn/network_models.h"

namespace TSEG {

// ref::GemvInt8ToFloat: 128 is added to each activation, four columns make a sum.
bool GemvInt8CannotClip(const int8_t* weights, int32_t rows, int32_t cols);
// ref::DnnGemmInt8 with frames of 0..highest: two columns make a sum. What these are added up to wraps, with either kernel alike.
bool DnnGemmInt8CannotClip(const int8_t* weights, int32_t rows, int32_t cols, int32_t highest);

// Marks the weights of a model of which that is so. A model that fits (model_limits.h), with its weights as the forward pass will read
// them; of a recurrent one only the int8 form has products that ask for it.
void MarkProvenWeights(LstmModel* model);
void MarkProvenWeights(DnnModel* model);

}  // namespace TSEG

#endif  // WVAD_NN_WEIGHT_PROOFS_H_
