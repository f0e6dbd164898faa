#include "viewer/native/calls/Values.h"

#include <stdexcept>

namespace vesk::viewer {

const host::InputForm* inputForm(std::string_view name) {
  if (name.empty()) return nullptr;
  const host::InputForm* const form = host::inputFormNamed(name);
  if (form == nullptr) throw std::invalid_argument("no form of input is " + std::string(name));
  return form;
}

const host::OutputForm& outputForm(std::string_view name) {
  const host::OutputForm* const form = host::outputFormNamed(name);
  if (form == nullptr || form->needs != host::Needs::Nothing)
    throw std::invalid_argument("no form of output is " + std::string(name));
  return *form;
}

Wanted wantedIn(Arguments& arguments) {
  constexpr std::uint32_t kAllKeys = 0xFFFFFFFF;
  Wanted wanted;
  for (std::uint32_t decoders = arguments.u32(); decoders != 0; --decoders) {
    auto& keys = wanted[std::string(arguments.text())];
    const std::uint32_t count = arguments.u32();
    if (count == kAllKeys) continue;
    keys.emplace();
    for (std::uint32_t i = 0; i < count; ++i) keys->emplace_back(arguments.text());
  }
  return wanted;
}

std::vector<std::string> textsIn(Arguments& arguments) {
  std::vector<std::string> texts(arguments.u32());
  for (std::string& text : texts) text = arguments.text();
  return texts;
}

std::vector<std::uint32_t> entriesIn(Arguments& arguments) {
  std::vector<std::uint32_t> entries(arguments.u32());
  for (std::uint32_t& entry : entries) entry = arguments.u32();
  return entries;
}

void put(Reply& reply, const Tables& tables, const host::Texts* texts) {
  reply.u32(tables.size());
  for (const auto& [decoder, rows] : tables) {
    const host::Table& table = *rows.table;
    reply.text(decoder);
    reply.address(table.rows() == 0 ? nullptr : table.rowAt(0));
    reply.u32(table.rows());
    reply.u32(table.rowSize());
    reply.address(rows.entries.data());
    reply.u32(table.columns().size());
    for (const host::Column& column : table.columns()) {
      reply.text(column.name);
      reply.u8(static_cast<std::size_t>(column.kind));
      reply.u32(column.count);
      reply.u8(column.isArray);
      reply.u8(column.isText);
      reply.u32(column.offset);
    }
  }
  reply.u32(texts == nullptr ? 0 : texts->count());
  for (std::uint32_t i = 0; texts != nullptr && i < texts->count(); ++i) reply.text(texts->text(i));
}

void put(Reply& reply, const std::vector<double>& numbers) {
  reply.append(numbers.data(), numbers.size() * sizeof(double));
}

}  // namespace vesk::viewer
