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
    {"1_REVERSE", 1, 1, 0},          {"1", 1, 1, 0},
    {"8", 1, 1, 1},                  {"1_5_5_5", 1, 1, 2},
    {"5_6_5", 1, 1, 2},              {"6_5_5", 1, 1, 2},
    {"8_8_8_8", 1, 1, 4},            {"2_10_10_10", 1, 1, 4},
    {"8_A", 1, 1, 1},                {"8_B", 1, 1, 1},
    {"8_8", 1, 1, 2},                {"Cr_Y1_Cb_Y0_REP", 2, 1, 4},
    {"Y1_Cr_Y0_Cb_REP", 2, 1, 4},    {"16_16_EDRAM", 1, 1, 0},
    {"8_8_8_8_A", 1, 1, 4},          {"4_4_4_4", 1, 1, 2},
    {"10_11_11", 1, 1, 4},           {"11_11_10", 1, 1, 4},
    {"DXT1", 4, 4, 8},               {"DXT2_3", 4, 4, 16},
    {"DXT4_5", 4, 4, 16},            {"16_16_16_16_EDRAM", 1, 1, 0},
    {"24_8", 1, 1, 4},               {"24_8_FLOAT", 1, 1, 4},
    {"16", 1, 1, 2},                 {"16_16", 1, 1, 4},
    {"16_16_16_16", 1, 1, 8},        {"16_EXPAND", 1, 1, 2},
    {"16_16_EXPAND", 1, 1, 4},       {"16_16_16_16_EXPAND", 1, 1, 8},
    {"16_FLOAT", 1, 1, 2},           {"16_16_FLOAT", 1, 1, 4},
    {"16_16_16_16_FLOAT", 1, 1, 8},  {"32", 1, 1, 4},
    {"32_32", 1, 1, 8},              {"32_32_32_32", 1, 1, 16},
    {"32_FLOAT", 1, 1, 4},           {"32_32_FLOAT", 1, 1, 8},
    {"32_32_32_32_FLOAT", 1, 1, 16}, {"32_AS_8", 4, 1, 4},
    {"32_AS_8_8", 2, 1, 4},          {"16_MPEG", 1, 1, 0},
    {"16_16_MPEG", 1, 1, 0},         {"8_INTERLACED", 1, 1, 0},
    {"32_AS_8_INTERLACED", 4, 1, 0}, {"32_AS_8_8_INTERLACED", 1, 1, 0},
    {"16_INTERLACED", 1, 1, 0},      {"16_MPEG_INTERLACED", 1, 1, 0},
    {"16_16_MPEG_INTERLACED", 1, 1, 0}, {"DXN", 4, 4, 16},
    {"8_8_8_8_AS_16_16_16_16", 1, 1, 4}, {"DXT1_AS_16_16_16_16", 4, 4, 8},
    {"DXT2_3_AS_16_16_16_16", 4, 4, 16}, {"DXT4_5_AS_16_16_16_16", 4, 4, 16},
    {"2_10_10_10_AS_16_16_16_16", 1, 1, 4}, {"10_11_11_AS_16_16_16_16", 1, 1, 4},
    {"11_11_10_AS_16_16_16_16", 1, 1, 4}, {"32_32_32_FLOAT", 1, 1, 12},
    {"DXT3A", 4, 4, 8},              {"DXT5A", 4, 4, 8},
    {"CTX1", 4, 4, 8},               {"DXT3A_AS_1_1_1_1", 4, 4, 8},
    {"8_8_8_8_GAMMA_EDRAM", 1, 1, 0}, {"2_10_10_10_FLOAT_EDRAM", 1, 1, 0},
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
