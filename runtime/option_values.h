// What the method's options take, for whoever wrote one wrongly.
#pragma once

#include <string>

#include "host/types.h"
#include "runtime/tokens.h"

namespace fileref::runtime {

// Why the host does not take the value of the option that `source` stands at, although the method
// does: a record of no length would count as one of which nothing is said. Empty: it takes it.
std::string refusal_of_value(const OptionSource& source);

// Why the method refused that option with `rc`, in a sentence that names what it takes. Empty where
// the code tells all.
std::string explain_refusal(const OptionSource& source, rctype rc);

}  // namespace fileref::runtime
