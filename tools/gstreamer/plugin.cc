// SPDX-License-Identifier: Apache-2.0
//
// The GStreamer plugin "wvad" with its one element.
#include <gst/gst.h>
#include <wvad.h>

#include "gstreamer/element_class.h"

#define PACKAGE "wvad"

static gboolean Init(GstPlugin* plugin) { return gst_element_register(plugin, "wvad", GST_RANK_NONE, gst_wvad_get_type()); }

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, wvad, "Sentences in audio: voice activity and endpoint detection", Init,
                  WVAD_VERSION, "Apache 2.0", "wvad", "wvad")
