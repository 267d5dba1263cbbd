// SPDX-License-Identifier: Apache-2.0
//
// The element "wvad" as GObject knows it: its class, its two pads, and the way of their calls to an Element.
#ifndef WVAD_GSTREAMER_ELEMENT_CLASS_H_
#define WVAD_GSTREAMER_ELEMENT_CLASS_H_

#include <gst/gst.h>

G_BEGIN_DECLS
GType gst_wvad_get_type(void);
G_END_DECLS

#endif  // WVAD_GSTREAMER_ELEMENT_CLASS_H_
