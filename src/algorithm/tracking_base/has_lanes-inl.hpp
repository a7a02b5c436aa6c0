// KES_HAS_LANES: whether vector code is worth compiling for the instruction set that Highway is at:
// where Highway only imitates vectors, plain code is faster.
//
// Without an include guard: the answer is another one each time that a file is compiled again.
#undef KES_HAS_LANES
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
#define KES_HAS_LANES 0
#else
#define KES_HAS_LANES 1
#endif
