// KES_HAS_LANES: whether vector code is worth compiling for the instruction set that Highway is at.
// Where Highway only imitates vectors, plain code is faster; and a struct cannot hold vectors whose
// size the compiler does not know (SVE, RVV).
//
// Without an include guard: the answer is another one each time that a file is compiled again.
#undef KES_HAS_LANES
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128 || HWY_HAVE_SCALABLE
#define KES_HAS_LANES 0
#else
#define KES_HAS_LANES 1
#endif
