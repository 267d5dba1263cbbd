/* SPDX-License-Identifier: Apache-2.0
 *
 * What of libsoxr is built for WebAssembly: constant rates in single precision with vectors of four, as its build for other processors
 * runs. */
#ifndef WVAD_JS_SOXR_CONFIG_H_
#define WVAD_JS_SOXR_CONFIG_H_

#define AVCODEC_FOUND 0
#define AVUTIL_FOUND 0
#define WITH_PFFFT 1

#define HAVE_FENV_H 0
#define HAVE_STDBOOL_H 1
#define HAVE_STDINT_H 1
#define HAVE_LRINT 1
#define HAVE_BIGENDIAN 0

#define WITH_CR32 0
#define WITH_CR32S 1
#define WITH_CR64 0
#define WITH_CR64S 0
#define WITH_VR32 0

#define WITH_HI_PREC_CLOCK 1
#define WITH_FLOAT_STD_PREC_CLOCK 0
#define WITH_DEV_TRACE 0

#endif /* WVAD_JS_SOXR_CONFIG_H_ */
