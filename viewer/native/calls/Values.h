/// Values that several calls take or give, as they stand in arguments and replies.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/inputs/Forms.h"
#include "host/outputs/Forms.h"
#include "viewer/native/Arguments.h"
#include "viewer/native/Capture.h"
#include "viewer/native/Reply.h"

namespace vesk::viewer {

/// The form of input of a name that was given; null for an empty one. Throws std::invalid_argument.
const host::InputForm* inputForm(std::string_view name);

/// One of the forms of output that the page has.
const host::OutputForm& outputForm(std::string_view name);

/// A count, and for each a decoder, a count of keys, or 0xFFFFFFFF for all, and the keys.
Wanted wantedIn(Arguments& arguments);

/// A count, and so many texts.
std::vector<std::string> textsIn(Arguments& arguments);

/// A count, and so many numbers of entries.
std::vector<std::uint32_t> entriesIn(Arguments& arguments);

/// A count, and for each its decoder; its rows' address, their number, the size of one, and the
/// address of as many numbers of entries; its columns; and behind all a count of texts, which those
/// that are texts have the numbers of, and the texts.
void put(Reply& reply, const Tables& tables, const host::Texts* texts);

/// The numbers, without their count.
void put(Reply& reply, const std::vector<double>& numbers);

}  // namespace vesk::viewer
