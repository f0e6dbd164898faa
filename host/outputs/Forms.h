/// The forms of output: their names, and how to make them.
///
/// A form is one class behind the interface in Output.h and one row of the table in Forms.cpp, which
/// holds all that the rest of the program knows of it: `-o`, `--jobs` and the help go by the rows.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "host/outputs/Output.h"

namespace vesk::host {

/// How many threads may decode for a form.
enum class Threads : std::uint8_t {
  One,            // what it writes of a report depends on what it wrote before
  IfAsked,        // decoding takes little longer than reading: more are worth it to those who ask
  ForLargeFiles,  // more are worth it, asked for or not
};

/// Whether a form shows an array's elements by themselves when --elements asks for it.
enum class ElementsShown : std::uint8_t { Never, IfAsked };

/// What a form can't do without.
enum class Needs : std::uint8_t {
  Nothing,
  Terminal,  // standard output is one, and the context has a Canvas
  Limits,    // it shows what they say, and nothing else
  Page,      // standard output is no terminal, and the context has a Page
};

/// A row of the table.
struct OutputForm {
  std::string_view name;         // for -o
  std::string_view description;  // for people, in the help
  Threads threads;

  /// Makes an output, which the context must outlive.
  std::unique_ptr<Output> (*make)(const OutputContext& context);

  std::string_view alias = {};  // another name for -o, if there is one
  ElementsShown elements = ElementsShown::Never;
  Needs needs = Needs::Nothing;
};

/// All forms. The first one is that of those who ask for none.
std::span<const OutputForm> outputForms();

/// The form of this name or alias; null if there is none.
const OutputForm* outputFormNamed(std::string_view name);

}  // namespace vesk::host
