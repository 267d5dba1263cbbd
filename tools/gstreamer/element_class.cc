// SPDX-License-Identifier: Apache-2.0
#include "gstreamer/element_class.h"

#include "gstreamer/ear.h"
#include "gstreamer/element.h"
#include "gstreamer/reports.h"

// What GObject makes and frees; the C++ object behind it lives as long.
struct GstWvad {
  GstElement parent;
  TSEG::gst::Element* inner;
};

struct GstWvadClass {
  GstElementClass parent_class;
};

G_DEFINE_TYPE(GstWvad, gst_wvad, GST_TYPE_ELEMENT)

namespace {

GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(WVAD_GSTREAMER_CAPS));
GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(WVAD_GSTREAMER_CAPS));

TSEG::gst::Element& Inner(gpointer object) { return *reinterpret_cast<GstWvad*>(object)->inner; }

GstFlowReturn Chain(GstPad*, GstObject* parent, GstBuffer* buffer) { return Inner(parent).Chain(buffer); }
gboolean SinkEvent(GstPad*, GstObject* parent, GstEvent* event) { return Inner(parent).SinkEvent(event) ? TRUE : FALSE; }

gboolean SourceQuery(GstPad*, GstObject* parent, GstQuery* query) { return Inner(parent).SourceQuery(query) ? TRUE : FALSE; }

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  if (!Inner(object).properties().Set(id, value)) G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  if (!Inner(object).properties().Get(id, value)) G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
}

GstStateChangeReturn ChangeState(GstElement* element, GstStateChange change) {
  const GstStateChangeReturn result = GST_ELEMENT_CLASS(gst_wvad_parent_class)->change_state(element, change);
  // The pads are at rest by now.
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) Inner(element).Stop();
  if (change == GST_STATE_CHANGE_READY_TO_NULL) Inner(element).ForgetModel();
  return result;
}

void Finalize(GObject* object) {
  delete &Inner(object);
  G_OBJECT_CLASS(gst_wvad_parent_class)->finalize(object);
}

}  // namespace

static void gst_wvad_class_init(GstWvadClass* wvad_class) {
  GObjectClass* object_class = G_OBJECT_CLASS(wvad_class);
  object_class->set_property = SetProperty;
  object_class->get_property = GetProperty;
  object_class->finalize = Finalize;
  TSEG::gst::Properties::Install(object_class);
  TSEG::gst::RegisterTags();
  GstElementClass* element_class = GST_ELEMENT_CLASS(wvad_class);
  element_class->change_state = ChangeState;
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_set_static_metadata(element_class, "Voice activity detector", "Filter/Analyzer/Audio",
                                        "Tells on the bus where sentences begin and end, and lets all audio pass or only them", "wvad");
}

static void gst_wvad_init(GstWvad* wvad) {
  GstElement* element = GST_ELEMENT(wvad);
  GstPad* sink = gst_pad_new_from_static_template(&sink_template, "sink");
  GstPad* src = gst_pad_new_from_static_template(&src_template, "src");
  gst_pad_set_chain_function(sink, Chain);
  gst_pad_set_event_function(sink, SinkEvent);
  gst_pad_set_query_function(src, SourceQuery);
  for (GstPad* pad : {sink, src}) {
    GST_PAD_SET_PROXY_CAPS(pad);
    gst_element_add_pad(element, pad);
  }
  wvad->inner = new TSEG::gst::Element(element, sink, src);
}
