// A slot list that does not tell its record must not compile. Each case is compiled by itself and
// must be refused in the words that tests/CMakeLists.txt names; without a case this compiles.

#include "codec/full.h"

struct Padded {
  u32 f0;
  u8 f1;
  u8 f2;
  u32 f3;
};

struct Nested {
  u32 f0;
  u8 f1[3];
};

struct Single {
  u32 f0;
};

struct Nesting {
  Nested f0[2];
  Single f1;
  u8 f2;
  u8 f3;
  u32 f4;
};

struct TooLong {
  u16 f0;
  u8 f1[65522];
};

struct Signed {
  int f0;
};

struct Pointed {
  u32 f0_len;
  u32 f1;
  const u8* f0;
};

#if defined(MISSES_LAST)
SLOTS(Padded, SLOT(f0), SLOT(f1), SLOT(f2))
#elif defined(MISSES_FIRST)
SLOTS(Padded, SLOT(f1), SLOT(f2), SLOT(f3))
#elif defined(MISSES_WHAT_LOOKS_LIKE_PADDING)
SLOTS(Padded, SLOT(f0), SLOT(f1), SLOT(f3))
#elif defined(MISSES_BEHIND_NESTED)
SLOTS(Nested, SLOT(f0), SLOT(f1))
SLOTS(Single, SLOT(f0))
SLOTS(Nesting, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f4))
#elif defined(REPEATS)
SLOTS(Padded, SLOT(f0), SLOT(f1), SLOT(f1), SLOT(f2), SLOT(f3))
#elif defined(REORDERS)
SLOTS(Padded, SLOT(f0), SLOT(f2), SLOT(f1), SLOT(f3))
#elif defined(GROWS_TOO_LONG)
SLOTS(TooLong, SLOT(f0), SLOT(f1))
constexpr auto size = codec::LayoutOf<TooLong>::fullSize;
#elif defined(SIGNED_MEMBER)
SLOTS(Signed, SLOT(f0))
#elif defined(BUFFER_BEHIND_ITS_LENGTH)
SLOTS(Pointed, BUFFER(f1, f0_len))
#elif defined(TORN_BUFFER)
SLOTS(Pointed, BUFFER(f0_len, f0), SLOT(f1))
#else
SLOTS(Padded, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
SLOTS(Nested, SLOT(f0), SLOT(f1))
SLOTS(Single, SLOT(f0))
SLOTS(Nesting, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
constexpr auto size = codec::LayoutOf<Padded>::fullSize + codec::LayoutOf<Nesting>::fullSize;
#endif
