#ifndef PAGE_SECTION_H
#define PAGE_SECTION_H

// A message as HTML for a page with message.css and lights.js.

#include <string>
#include <string_view>

#include "page/message.h"

namespace page {

/// A message without a fault as a section of a page: its bytes and fields side by side.
/// @param number distinguishes the messages of one page
std::string section(const Message& message, std::size_t number);

/// A damaged message: its bytes, of which those at the fault are marked.
std::string section(const Message& message, const reader::Fault& fault);

/// A page up to the place of its messages.
std::string_view start(std::string_view page);
/// The page behind that place.
std::string_view end(std::string_view page);

}  // namespace page

#endif
