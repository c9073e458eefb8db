// spec_log_f32 at SSE2 with constants of its own, beside those of AVX2.
#define decibel_rows own_rows
#include "spectrum/spec_log_sse2.cpp"
#include "spectrum/decibels_rows.cpp"
