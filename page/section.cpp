#include "page/section.h"

#include <algorithm>

namespace page {
namespace {

using reader::at;
using reader::Kind;

constexpr std::size_t bytesInRow = 16;
constexpr std::size_t mostBytes = 4096;  // of one item: a browser is slow with millions
constexpr std::size_t mostElements = 64;
constexpr std::string_view sectionsPlace = "<!-- messages -->";

std::string escaped(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    if (c == '&')
      safe += "&amp;";
    else if (c == '<')
      safe += "&lt;";
    else
      safe += c;
  }
  return safe;
}

/// All items of a field have one colour, which differs clearly from those of its neighbours.
std::string marks(const Item& item, const std::string& id) {
  const bool value = item.kind == Kind::scalar || item.kind == Kind::elements;
  const char* const look = item.kind == Kind::gap ? "open" : value ? "value" : "structure";
  std::size_t sum = 0;
  for (const char c : item.path) sum = sum * 31 + static_cast<unsigned char>(c);
  return "data-n=" + id + " class=" + look +
         (item.path.empty() ? "" : " style=--hue:" + std::to_string(sum * 137 % 360));
}

std::string rowStart(std::size_t position) {
  std::string start = at(position);
  start.resize(std::max<std::size_t>(start.size(), 7), ' ');
  return "\n<s>" + start + "</s> ";
}

std::string sectionStart(const std::string& heading) {
  return "<section><h2>" + escaped(heading) + "</h2>\n<div><pre>";
}

/// Adds some bytes, of which the one at the fault is marked.
void addRow(std::string& text, Bytes bytes, std::size_t from, std::size_t to, std::size_t fault) {
  text += rowStart(from);
  const bool isMarked = fault >= from && fault < to;
  const std::size_t mark = isMarked ? fault : to;
  addHex(text, bytes.subspan(from, mark - from));
  if (!isMarked) return;
  text += "<b class=fault>";
  addHex(text, bytes.subspan(mark, 1));
  text += "</b>";
  addHex(text, bytes.subspan(mark + 1, to - mark - 1));
}

class Section {
 public:
  Section(const Message& message, std::size_t number)
      : message_(message), prefix_(std::to_string(number) + '.') {}

  std::string text() {
    text_ = sectionStart(title(message_));
    for (const Item* item : byPosition(message_.items)) addBytes(*item);
    text_ += "\n</pre>\n<ul>";
    addTree();
    return text_ + "</ul></div></section>\n";
  }

 private:
  std::string marksOf(const Item& item) const {
    return marks(item, prefix_ + std::to_string(&item - message_.items.data()));
  }

  void addBytes(const Item& item) {
    const std::size_t end = item.position + std::min(item.length, mostBytes);
    for (std::size_t from = item.position, to = 0; from < end; from = to) {
      to = std::min((from / bytesInRow + 1) * bytesInRow, end);
      if (from % bytesInRow == 0) text_ += rowStart(from);
      text_ += "<b " + marksOf(item) + ">";
      addHex(text_, Bytes(message_.bytes).subspan(from, to - from));
      text_ += "</b>";
    }
    if (item.length > mostBytes) {  // a caller's buffer, behind which nothing lies
      text_ += "\n<s>        " + std::to_string(item.length - mostBytes) + " bytes more</s>";
    }
  }

  void addTree() {
    unsigned open = 0;  // lists inside the tree's own
    for (std::size_t i = 0; i < message_.items.size(); ++i) {
      const Item& item = message_.items[i];
      for (; open > item.depth; --open) text_ += "</ul></li>\n";
      text_ += "<li " + marksOf(item) + "><span>" + label(item) + "</span>";
      const bool hasInside =
          i + 1 < message_.items.size() && message_.items[i + 1].depth > item.depth;
      text_ += hasInside ? "<ul>" : "</li>\n";
      if (hasInside) ++open;
    }
    for (; open > 0; --open) text_ += "</ul></li>\n";
  }

  std::string label(const Item& item) const {
    if (item.width == 0) return meaning(item);
    const std::size_t count = item.length / item.width;
    return item.path + ": " + elements(message_, item, 0, std::min(count, mostElements)) +
           (count > mostElements ? ", \u2026" : "");
  }

  const Message& message_;
  std::string prefix_;
  std::string text_;
};

}  // namespace

std::string section(const Message& message, std::size_t number) {
  return Section(message, number).text();
}

std::string section(const Message& message, const reader::Fault& fault) {
  const std::size_t before = fault.position / bytesInRow * bytesInRow;
  const std::size_t first = before - std::min(before, mostBytes / 2);
  const std::size_t last = std::min(message.bytes.size(), first + mostBytes);
  std::string text = sectionStart(message.name + ": " + damage(message, fault));
  for (std::size_t from = first; from < last; from += bytesInRow) {
    addRow(text, message.bytes, from, std::min(from + bytesInRow, last), fault.position);
  }
  if (fault.position == message.bytes.size()) text += "<b class=fault>the end</b>";
  return text + "\n</pre></div></section>\n";
}

std::string_view start(std::string_view page) {
  return page.substr(0, page.find(sectionsPlace));
}

std::string_view end(std::string_view page) {
  return page.substr(page.find(sectionsPlace) + sectionsPlace.size());
}

}  // namespace page
