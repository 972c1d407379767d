#include "id3v2/meta_map.h"

#include <algorithm>
#include <utility>

#include "id3v2/field_table.h"
#include "support/names.h"

namespace wavecodec::id3parser {
namespace {

constexpr size_t kIndexedFrom = 16;  // fewer fields are found faster by looking at each
constexpr size_t kOrdinary = 14;     // fields of a file; a kilobyte

std::string_view toZero(std::string_view text) { return text.substr(0, text.find('\0')); }

}  // namespace

std::string_view metaMap::valueList::first() const {
  return std::string_view{text_}.substr(0, text_.find('\0'));
}

std::string metaMap::valueList::joined(char separator) const {
  std::string out = text_;
  std::replace(out.begin(), out.end(), '\0', separator);
  return out;
}

void metaMap::valueList::add(std::string_view value) {
  if (count_++ != 0) text_ += '\0';
  text_ += toZero(value);
}

void metaMap::valueList::insert(size_t index, std::string_view value) {
  if (index == count_) return add(value);
  size_t at = 0;
  while (index-- > 0) at = text_.find('\0', at) + 1;
  text_.insert(at, std::string(toZero(value)) + '\0');
  ++count_;
}

bool metaMap::valueList::sameAs(const valueList& other) const {
  const auto border = [](char c) { return c == '\r' ? '\0' : c; };
  return text_.size() == other.text_.size() &&
         std::equal(text_.begin(), text_.end(), other.text_.begin(),
                    [&](char a, char b) { return border(a) == border(b); });
}

// The index slot that holds the field, or the free one where it belongs.
size_t metaMap::slotOf(std::string_view name, uint32_t hash) const {
  const size_t mask = index_.size() - 1;
  size_t at = hash & mask;
  while (index_[at].next != 0 &&
         (index_[at].hash != hash || !SameName(fields_[index_[at].next - 1].name, name))) {
    at = (at + 1) & mask;
  }
  return at;
}

size_t metaMap::positionOf(std::string_view name) const {
  name = toZero(name);
  if (!index_.empty()) {
    const uint32_t next = index_[slotOf(name, HashName(name))].next;
    return next == 0 ? fields_.size() : next - 1;
  }
  const auto found = std::find_if(fields_.begin(), fields_.end(),
                                  [&](const field& f) { return SameName(f.name, name); });
  return static_cast<size_t>(found - fields_.begin());
}

void metaMap::reindex() {
  index_.clear();
  if (fields_.size() < kIndexedFrom) return;
  size_t slots = 4 * kIndexedFrom;
  while (slots <= 2 * fields_.size()) slots *= 2;
  index_.resize(slots);
  uint32_t next = 0;
  for (const field& f : fields_) enter({HashName(f.name), ++next});
}

// From the old slots in their order: the new ones are then visited nearly in order too.
void metaMap::growIndex() {
  const std::vector<slot> old = std::exchange(index_, std::vector<slot>(2 * index_.size()));
  for (const slot& entry : old) {
    if (entry.next != 0) enter(entry);
  }
}

void metaMap::enter(slot entry) {
  const size_t mask = index_.size() - 1;
  size_t at = entry.hash & mask;
  while (index_[at].next != 0) at = (at + 1) & mask;
  index_[at] = entry;
}

size_t metaMap::place(std::string_view name) {
  name = toZero(name);
  if (placed_ < fields_.size() && fields_[placed_].name == name) return placed_;
  return placed_ = placeOther(name);
}

size_t metaMap::placeOther(std::string_view name) {
  if (index_.empty()) {
    const size_t position = positionOf(name);
    if (position < fields_.size()) return position;
    if (fields_.empty()) fields_.reserve(kOrdinary);
    fields_.emplace_back().name = name;
    if (fields_.size() >= kIndexedFrom) reindex();
    return fields_.size() - 1;
  }
  const uint32_t hash = HashName(name);
  const size_t at = slotOf(name, hash);
  if (index_[at].next != 0) return index_[at].next - 1;
  fields_.emplace_back().name = name;
  index_[at] = {hash, static_cast<uint32_t>(fields_.size())};
  if (2 * fields_.size() >= index_.size()) growIndex();
  return fields_.size() - 1;
}

void metaMap::set(std::string_view name, std::string_view value) {
  valueList values;
  values.add(value);
  fields_[place(name)].values = std::move(values);
}

void metaMap::add(std::string_view name, std::string_view value) {
  fields_[place(name)].values.add(value);
}

void metaMap::insert(std::string_view name, size_t index, std::string_view value) {
  fields_[place(name)].values.insert(index, value);
}

bool metaMap::remove(std::string_view name) {
  const size_t position = positionOf(name);
  if (position == fields_.size()) return false;
  fields_.erase(fields_.begin() + static_cast<ptrdiff_t>(position));
  reindex();
  return true;
}

void metaMap::clear() {
  fields_.clear();
  index_.clear();
}

const metaMap::valueList* metaMap::find(std::string_view name) const {
  const size_t position = positionOf(name);
  return position == fields_.size() ? nullptr : &fields_[position].values;
}

bool metaMap::haveReplayGain() const {
  return std::any_of(fields_.begin(), fields_.end(),
                     [](const field& f) { return isReplayGainName(f.name); });
}

}  // namespace wavecodec::id3parser
