// SPDX-License-Identifier: Apache-2.0
//
// MlpResHeaderParser: the stateless operations over the copy of a model header, for its three shapes.
//
// Where an operation belongs to certain shapes its comment says so. They look variables and keys up, tell where a variable lies, and copy
// variables into a model's block with both dimensions padded. A copy never reads outside of the data view: one that would gives null like
// one for which the block has no room. Copies allocate nothing.
#ifndef WVAD_RES_HEADER_PARSER_H_
#define WVAD_RES_HEADER_PARSER_H_

#include <cstdint>
#include <type_traits>

#include "res/block_cursor.h"
#include "res/model_format.h"

namespace TSEG {

// The shift of register_value_fixed that means: the variable's own, from the header.
constexpr int kShiftFromHeader = 255;
// The table of V3 from which that shift comes.
enum class ShiftTable { k8, k16 };

template <class Image>
struct MlpResHeaderParser {
  using Header = MlpResFileHeader<Image>;
  static constexpr bool kTyped = !std::is_same_v<Image, MlpResImageV1>;
  static constexpr size_t kNameBytes = kTyped ? 64 : 16;

  // V1. The index of `name`; a missing one is told to the log and gives 0.
  static int get_var_index(const Header& header, const char* name);
  // The index of `name`, or -1. No log.
  static int find_var(const Header& header, const char* name);
  // The row of `key` among the first nKeys rows, or -1.
  static int find_key(const Header& header, const char* key);
  // Whether the row of `key` has exactly `value`.
  static bool key_is(const Header& header, const char* key, const char* value);
  // The type code of the variable `name`, kTypeUnknown when name or type is unknown. V1 knows only floats.
  static int get_var_datatype(const Header& header, const char* name);
  // Where variable `index` begins in the data block. A type that is not known on the way is told to the log and gives 0.
  static uint64_t var_offset(const Header& header, int index);
  // Sum over all variables of the padded elements; the byte form counts each with its element size.
  static uint64_t padded_size(const Header& header);
  static uint64_t padded_bytes(const Header& header);
  // Names that match `pattern`: equal to it, or, with a '*' in it, of the same length and different at one position alone, by a digit
  // at the '*'. So a layer number of two digits does not count.
  static int count_matching(const Header& header, const char* pattern);
  static int32_t network_type_code(const Header& header);

  static int64_t padded_inner(const Header& header, int index) { return PaddedDim(header.nInner[index]); }
  static int64_t padded_outer(const Header& header, int index) { return PaddedDim(header.nOuter[index]); }
  static uint64_t padded_elements(const Header& header, int index) {
    return static_cast<uint64_t>(padded_inner(header, index)) * static_cast<uint64_t>(padded_outer(header, index));
  }

  // V1. Copies the variable as floats to the cursor and stores where in `*destination`. Null if the table has no variable at all.
  static float* register_value_float(const Header& header, float** destination, const char* name, BlockCursor* cursor);
  // V2, V3. The same for a variable of type "float". A missing name is told to the log and gives null.
  static float* register_value_typed(const Header& header, float** destination, const char* name, BlockCursor* cursor);
  // The place of such a copy on the cursor with nothing copied to it, or null where the copy would fail, with the same log line.
  static float* place_for_value(const Header& header, const char* name, BlockCursor* cursor);
  // Copies a float variable as integers of `width` bytes (4, 2 or 1), scaled by 2 to the `shift`; kShiftFromHeader or more takes the
  // variable's own, of which only the low byte counts.
  static void* register_value_fixed(const Header& header, void** destination, const char* name, BlockCursor* cursor, int width, int shift,
                                    ShiftTable table);
  // V3. Copies "map" as 16-bit integers. Null without a log line when it is missing or of another type.
  static int16_t* register_map(const Header& header, int16_t** destination, BlockCursor* cursor);
  // The shift of variable `index` in the header, its low byte; 0 in V2, which has none.
  static uint8_t header_shift(const Header& header, int index, ShiftTable table);
};

extern template struct MlpResHeaderParser<MlpResImageV1>;
extern template struct MlpResHeaderParser<MlpResImageV2>;
extern template struct MlpResHeaderParser<MlpResImageV3>;

// The code of a network type string of `kHeaderTypeBytes` bytes; 16 characters count. kMlpUnknown for a stranger.
int32_t NetworkTypeCode(const char* szMlpType);

}  // namespace TSEG

#endif  // WVAD_RES_HEADER_PARSER_H_
