/// Calls that tell what the module can do.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "host/inputs/Forms.h"
#include "host/outputs/Forms.h"
#include "viewer/native/calls/Calls.h"

namespace vesk::viewer {

/// The plug-in's version; known reports: a count, and for each its ID, type, decoder, name,
/// smallest length, whether that is the only one, and the key of its counter; the forms of input,
/// and those of output: a count, and for each its name and description; the codes of problems: a
/// count, and each.
VESK_CALL(about) std::int32_t about() {
  return answered([](Calls& all) {
    Reply& reply = all.reply;
    reply.text(all.module.library.api().plugin_version);
    reply.u32(all.module.known.all().size());
    for (const host::ReportInfo& info : all.module.known.all()) {
      reply.u8(info.id);
      reply.u8(static_cast<std::size_t>(info.type));
      reply.text(info.decoder);
      reply.text(info.displayName.value_or(""));
      reply.u32(info.smallest);
      reply.u8(info.exactLength);
      reply.text(info.counter ? info.counter->key : "");
    }
    reply.u32(host::inputForms().size());
    for (const host::InputForm& form : host::inputForms()) {
      reply.text(form.name);
      reply.text(form.description);
    }
    const auto shown = [](const host::OutputForm& form) {
      return form.needs == host::Needs::Nothing;
    };
    reply.u32(static_cast<std::size_t>(std::ranges::count_if(host::outputForms(), shown)));
    for (const host::OutputForm& form : host::outputForms()) {
      if (!shown(form)) continue;
      reply.text(form.name);
      reply.text(form.description);
    }
    reply.u32(host::kProblemCodes);
    for (std::size_t i = 0; i < host::kProblemCodes; ++i)
      reply.text(nameOf(static_cast<host::ProblemCode>(i)));
  });
}

}  // namespace vesk::viewer
