// Run under valgrind: every byte that an encoder writes is made of the record's members. Padding
// and output start out undefined, and valgrind tells where an undefined byte ends up.

#include <valgrind/memcheck.h>

#include <cstdio>

#include "methods.h"
#include "records.h"
#include "wire.h"

namespace {

/// A copy of the record whose padding is undefined.
std::vector<u8> withUndefinedPadding(const Method& method, const records::Maker& maker,
                                     const u8* record) {
  std::vector<u8> copy(record, record + method.recordSize);
  std::vector<bool> told(copy.size(), false);
  const auto tell = [&told](std::size_t from, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) told[from + i] = true;
  };
  for (const records::Word word : maker.values.scalars) tell(word.offset, word.width);
  for (const records::Word word : maker.values.elements) tell(word.offset, word.width);
  for (const codec::SlotInfo& slot : maker.values.buffers) tell(slot.offset, slot.size);
  for (std::size_t i = 0; i < copy.size(); ++i) {
    if (!told[i]) (void)VALGRIND_MAKE_MEM_UNDEFINED(&copy[i], 1);
  }
  return copy;
}

/// The first byte from 0 on that was written and is undefined; size when all is well.
std::size_t firstUndefined(const u8* out, std::size_t size, const std::string& shown) {
  for (std::size_t i = 0; i < size; ++i) {
    const bool written = shown[3 * i] != '-';
    if (written && VALGRIND_CHECK_MEM_IS_DEFINED(out + i, 1) != 0) return i;
  }
  return size;
}

bool isClean(const Method& method, u64 presence) {
  records::Maker maker(method, presence + 1);
  const u8* const record = maker.make(presence);
  const IdlMsgDesc desc = wire::describe(method.setIdl);
  const std::vector<u8> req = withUndefinedPadding(method, maker, record);

  u32 capacity = desc.pack(nullptr, req.data());
  std::vector<u8> compact(capacity);
  (void)VALGRIND_MAKE_MEM_UNDEFINED(compact.data(), compact.size());
  PackBuf cursor = {compact.data(), &capacity};
  const u32 length = desc.pack(&cursor, req.data());
  if (firstUndefined(compact.data(), length, std::string(3 * length, ' ')) != length) return false;
  if (desc.packFull == nullptr) return true;

  const std::string shown =
      wire::show(wire::full(desc, record, 0x00), wire::full(desc, record, 0xFF));
  std::vector<u8> full(desc.fullSize());
  (void)VALGRIND_MAKE_MEM_UNDEFINED(full.data(), full.size());
  desc.packFull(full.data(), req.data());
  return firstUndefined(full.data(), full.size(), shown) == full.size();
}

}  // namespace

TEST(Memcheck, OutputsAreMadeOfMembersAlone) {
  ASSERT_NE(0u, RUNNING_ON_VALGRIND) << "run it as: valgrind memcheck_test";
  u8 probe = 0;
  (void)VALGRIND_MAKE_MEM_UNDEFINED(&probe, 1);
  u8 undefinedBits = 0;
  (void)VALGRIND_GET_VBITS(&probe, &undefinedBits, 1);
  ASSERT_EQ(0xFF, undefinedBits) << "undefined bytes are not seen";
  for (const Method& method : methods) {
    for (const u64 presence : {u64{0}, u64{0x5555555555555555}, UINT64_MAX}) {
      EXPECT_TRUE(isClean(method, presence)) << method.name << ", presence " << presence;
    }
  }
}
