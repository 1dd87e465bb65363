#ifndef BENCH_BUILDER_FEED_H
#define BENCH_BUILDER_FEED_H

// Feeds a FlatBuffers builder from a record, as generated code would: straight-line per message,
// out-of-line data first, then the table's fields from wide to narrow, which avoids padding. The
// builder leaves out zero scalars, which are defaults.

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <utility>

#include "codec/layout.h"

namespace bench {

using Builder = flatbuffers::FlatBufferBuilder;
using TableOffset = flatbuffers::Offset<flatbuffers::Table>;

template <class Record>
TableOffset feedTable(Builder& builder, const u8* record);

template <class Member>
const Member* memberAt(const u8* record, std::size_t offset) {
  return static_cast<const Member*>(static_cast<const void*>(record + offset));
}

/// Builds the target of an offset field of the table; 0 if there is none.
template <class S>
flatbuffers::uoffset_t feedReference(Builder& builder, const u8* record) {
  using Element = typename S::Element;
  if constexpr (S::kind == codec::Kind::vector) {
    return builder.CreateVector(memberAt<Element>(record, S::offset), S::count).o;
  } else if constexpr (S::kind == codec::Kind::table) {
    return feedTable<Element>(builder, record + S::offset).o;
  } else if constexpr (S::kind == codec::Kind::tables) {
    TableOffset tables[S::count];
    for (std::size_t i = 0; i < S::count; ++i) {
      tables[i] = feedTable<Element>(builder, record + S::offset + i * sizeof(Element));
    }
    return builder.CreateVector(tables, S::count).o;
  } else if constexpr (S::kind == codec::Kind::buffer) {
    const u32 length = codec::load<u32>(record + S::offset);
    const u8* const bytes = codec::load<const u8*>(record + S::pointerOffset);
    return bytes == nullptr || length == 0 ? 0 : builder.CreateVector(bytes, length).o;
  } else {
    return 0;
  }
}

template <std::size_t width, class S>
void feedField(Builder& builder, std::size_t slot, const u8* record,
               flatbuffers::uoffset_t reference) {
  const auto field = flatbuffers::FieldIndexToOffset(static_cast<flatbuffers::voffset_t>(slot));
  if constexpr (S::kind != codec::Kind::scalar) {
    if constexpr (width == codec::offsetFieldSize) builder.AddOffset(field, TableOffset(reference));
  } else if constexpr (width == S::size) {
    using Word = typename S::Element;
    builder.AddElement<Word>(field, codec::load<Word>(record + S::offset), 0);
  }
}

template <class... Slots, std::size_t... I>
TableOffset feedTable(codec::SlotList<Slots...>, std::index_sequence<I...>, Builder& builder,
                      const u8* record) {
  const flatbuffers::uoffset_t references[] = {feedReference<Slots>(builder, record)...};
  const auto start = builder.StartTable();
  (feedField<4, Slots>(builder, I, record, references[I]), ...);
  (feedField<2, Slots>(builder, I, record, references[I]), ...);
  (feedField<1, Slots>(builder, I, record, references[I]), ...);
  return builder.EndTable(start);
}

template <class Record>
TableOffset feedTable(Builder& builder, const u8* record) {
  using List = codec::ListOf<Record>;
  return feedTable(List{}, std::make_index_sequence<List::size>{}, builder, record);
}

/// Builds a whole message in a builder that was used before and returns its length.
template <class Record>
u32 feedMessage(Builder& builder, const u8* record) {
  builder.Clear();
  builder.Finish(feedTable<Record>(builder, record));
  return builder.GetSize();
}

}  // namespace bench

#endif
