/// Calls for reports in the forms that the program writes.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "host/outputs/Json.h"
#include "viewer/native/calls/Calls.h"
#include "viewer/native/calls/Values.h"

namespace vesk::viewer {

/// Gives what the file's reports come to, as the record `statistics` of the program's NDJSON.
VESK_CALL(statistics) std::int32_t statistics(std::uint32_t handle) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    host::Collector collector;
    host::JsonOutput output({all.module.plugin, all.module.known, collector},
                            host::JsonOutput::Framing::Lines);
    output.beginFile(capture.name());
    output.writeStatistics(capture.statistics());
    all.reply.text(collector.text);
  });
}

/// Takes the name of a form of output, and whether lines are wanted, too. Gives a handle, to render
/// a file's entries in this form.
VESK_CALL(render) std::int32_t render(std::uint32_t handle) {
  return answered([=](Calls& all) {
    const std::string& file = of(all.captures, handle).name();
    const host::OutputForm& form = outputForm(all.arguments.text());
    const bool lines = all.arguments.u32() != 0;
    hold(all, all.renderings, std::make_unique<Rendering>(all.module, form, file, lines));
  });
}

/// Takes some more entries of the file, the last ones if `isLast`. Gives what was written: a count
/// of bytes, and their address; and what was left out.
VESK_CALL(renderOn)
std::int32_t renderOn(std::uint32_t handle, std::uint32_t rendering, std::int32_t isLast) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    Rendering& going = of(all.renderings, rendering);
    for (const std::uint32_t entry : entriesIn(all.arguments)) going.add(capture, entry);
    if (isLast != 0) going.finish();
    const std::string_view text = going.take();
    all.reply.u32(text.size());
    all.reply.address(text.data());
    all.reply.text(going.leftOut());
  });
}

/// Takes the file's name, the name of its form, or an empty one, that of a form of output, and
/// whether lines are wanted, too. Gives a handle.
VESK_CALL(convert) std::int32_t convert(std::int32_t source) {
  return answered([=](Calls& all) {
    Arguments& arguments = all.arguments;
    const std::string_view name = arguments.text();
    const host::InputForm* const from = inputForm(arguments.text());
    const host::OutputForm& to = outputForm(arguments.text());
    const bool lines = arguments.u32() != 0;
    auto conversion = std::unique_ptr<Conversion>(new Conversion{
        Stream(source, from, all.module.known), Rendering(all.module, to, name, lines)});
    hold(all, all.conversions, std::move(conversion));
  });
}

/// Goes on with a conversion by up to so many items. Gives whether it is at its end; what was
/// written, a count of bytes and their address; and what was left out.
VESK_CALL(convertOn)
std::int32_t convertOn(std::uint32_t handle, std::uint32_t items) {
  return answered([=](Calls& all) {
    Conversion& conversion = of(all.conversions, handle);
    bool ended = false;
    for (std::uint32_t i = 0; i < items && !ended; ++i)
      ended = !conversion.rendering.add(conversion.stream);
    if (ended) conversion.rendering.finish();
    const std::string_view text = conversion.rendering.take();
    all.reply.u8(ended);
    all.reply.u32(text.size());
    all.reply.address(text.data());
    all.reply.text(conversion.rendering.leftOut());
  });
}

}  // namespace vesk::viewer
