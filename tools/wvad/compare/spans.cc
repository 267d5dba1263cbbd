// SPDX-License-Identifier: Apache-2.0
#include "wvad/compare/spans.h"

#include <algorithm>

namespace TSEG::tool {

Spans Joined(Spans spans) {
  std::sort(spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.begin_us < b.begin_us; });
  Spans joined;
  for (const Span& span : spans) {
    if (span.end_us <= span.begin_us) continue;
    if (!joined.empty() && span.begin_us <= joined.back().end_us) {
      joined.back().end_us = std::max(joined.back().end_us, span.end_us);
    } else {
      joined.push_back(span);
    }
  }
  return joined;
}

Spans Intersection(const Spans& a, const Spans& b) {
  Spans common;
  for (size_t i = 0, k = 0; i < a.size() && k < b.size();) {
    const Span span = {std::max(a[i].begin_us, b[k].begin_us), std::min(a[i].end_us, b[k].end_us)};
    if (span.begin_us < span.end_us) common.push_back(span);
    a[i].end_us < b[k].end_us ? ++i : ++k;
  }
  return common;
}

Spans Difference(const Spans& a, const Spans& b) {
  Spans rest;
  size_t k = 0;
  for (Span span : a) {
    while (k < b.size() && b[k].end_us <= span.begin_us) ++k;
    for (size_t i = k; i < b.size() && b[i].begin_us < span.end_us; ++i) {
      if (b[i].begin_us > span.begin_us) rest.push_back({span.begin_us, b[i].begin_us});
      span.begin_us = std::min(span.end_us, b[i].end_us);
    }
    if (span.begin_us < span.end_us) rest.push_back(span);
  }
  return rest;
}

int64_t Length(const Spans& spans) {
  int64_t length = 0;
  for (const Span& span : spans) length += span.end_us - span.begin_us;
  return length;
}

}  // namespace TSEG::tool
