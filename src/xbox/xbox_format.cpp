#include "xbox/xbox_format.h"

namespace vellmark::xbox {

namespace {

struct FormatRow {
  const char* name;
  std::uint8_t blockWidth, blockHeight, bytes;
};

// Indexed by GPU data format. Bytes per block 0 marks the formats that hold no readable
// texture data (1-bit, EDRAM render targets, MPEG and interlaced video surfaces).
constexpr FormatRow kFormats[64] = {
    {"k_1_REVERSE", 1, 1, 0},          {"k_1", 1, 1, 0},
    {"k_8", 1, 1, 1},                  {"k_1_5_5_5", 1, 1, 2},
    {"k_5_6_5", 1, 1, 2},              {"k_6_5_5", 1, 1, 2},
    {"k_8_8_8_8", 1, 1, 4},            {"k_2_10_10_10", 1, 1, 4},
    {"k_8_A", 1, 1, 1},                {"k_8_B", 1, 1, 1},
    {"k_8_8", 1, 1, 2},                {"k_Cr_Y1_Cb_Y0_REP", 2, 1, 4},
    {"k_Y1_Cr_Y0_Cb_REP", 2, 1, 4},    {"k_16_16_EDRAM", 1, 1, 0},
    {"k_8_8_8_8_A", 1, 1, 4},          {"k_4_4_4_4", 1, 1, 2},
    {"k_10_11_11", 1, 1, 4},           {"k_11_11_10", 1, 1, 4},
    {"k_DXT1", 4, 4, 8},               {"k_DXT2_3", 4, 4, 16},
    {"k_DXT4_5", 4, 4, 16},            {"k_16_16_16_16_EDRAM", 1, 1, 0},
    {"k_24_8", 1, 1, 4},               {"k_24_8_FLOAT", 1, 1, 4},
    {"k_16", 1, 1, 2},                 {"k_16_16", 1, 1, 4},
    {"k_16_16_16_16", 1, 1, 8},        {"k_16_EXPAND", 1, 1, 2},
    {"k_16_16_EXPAND", 1, 1, 4},       {"k_16_16_16_16_EXPAND", 1, 1, 8},
    {"k_16_FLOAT", 1, 1, 2},           {"k_16_16_FLOAT", 1, 1, 4},
    {"k_16_16_16_16_FLOAT", 1, 1, 8},  {"k_32", 1, 1, 4},
    {"k_32_32", 1, 1, 8},              {"k_32_32_32_32", 1, 1, 16},
    {"k_32_FLOAT", 1, 1, 4},           {"k_32_32_FLOAT", 1, 1, 8},
    {"k_32_32_32_32_FLOAT", 1, 1, 16}, {"k_32_AS_8", 4, 1, 4},
    {"k_32_AS_8_8", 2, 1, 4},          {"k_16_MPEG", 1, 1, 0},
    {"k_16_16_MPEG", 1, 1, 0},         {"k_8_INTERLACED", 1, 1, 0},
    {"k_32_AS_8_INTERLACED", 4, 1, 0}, {"k_32_AS_8_8_INTERLACED", 1, 1, 0},
    {"k_16_INTERLACED", 1, 1, 0},      {"k_16_MPEG_INTERLACED", 1, 1, 0},
    {"k_16_16_MPEG_INTERLACED", 1, 1, 0}, {"k_DXN", 4, 4, 16},
    {"k_8_8_8_8_AS_16_16_16_16", 1, 1, 4}, {"k_DXT1_AS_16_16_16_16", 4, 4, 8},
    {"k_DXT2_3_AS_16_16_16_16", 4, 4, 16}, {"k_DXT4_5_AS_16_16_16_16", 4, 4, 16},
    {"k_2_10_10_10_AS_16_16_16_16", 1, 1, 4}, {"k_10_11_11_AS_16_16_16_16", 1, 1, 4},
    {"k_11_11_10_AS_16_16_16_16", 1, 1, 4}, {"k_32_32_32_FLOAT", 1, 1, 12},
    {"k_DXT3A", 4, 4, 8},              {"k_DXT5A", 4, 4, 8},
    {"k_CTX1", 4, 4, 8},               {"k_DXT3A_AS_1_1_1_1", 4, 4, 8},
    {"k_8_8_8_8_GAMMA_EDRAM", 1, 1, 0}, {"k_2_10_10_10_FLOAT_EDRAM", 1, 1, 0},
};

constexpr std::uint8_t log2Of(std::uint8_t bytes) {
  std::uint8_t b = 0;
  while ((2u << b) <= bytes) ++b;
  return b;
}

}  // namespace

BlockInfo blockInfo(unsigned gpu) {
  const FormatRow& row = kFormats[gpu & 63];
  return {row.blockWidth, row.blockHeight, row.bytes, log2Of(row.bytes)};
}

const char* gpuFormatName(unsigned gpu) { return kFormats[gpu & 63].name; }

}  // namespace vellmark::xbox
