# libimagequant, the comparison for the palette quantizer (benchmark only).
find_library(VELLMARK_IMAGEQUANT_LIBRARY imagequant REQUIRED)
target_link_libraries(bench_quantize PRIVATE ${VELLMARK_IMAGEQUANT_LIBRARY})
