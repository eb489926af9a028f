// A snapshot for programs. docs/observability.md describes the fields.
#pragma once

#include "inspect/snapshot.h"
#include "text/fields.h"

namespace inspect {

text::Fields statusFields(const Snapshot& snapshot);

// Parts, for whoever shows more or less.
text::Fields processFields(const Process& process, bool isGone);
text::Fields objectFields(const ObjectFacts& object);
text::Fields lossFields(const LossCounts& counts);

}  // namespace inspect
