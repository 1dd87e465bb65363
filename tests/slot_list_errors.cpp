// A slot list that does not fit its record must not compile. tests/CMakeLists.txt has the cases,
// one compilation each, and the expected errors.

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

struct Buffered {
  u32 f0_len;
  const u8* f0;
  u8 f1;
  u8 f2;
};

SLOTS(Single, SLOT(f0))
CASE;
