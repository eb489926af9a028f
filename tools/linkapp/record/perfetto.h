// A recording as a trace for the Perfetto viewer, in the Trace Event Format (JSON) that it documents.
//
// Each process has two tracks, one for what it posts and one for what it takes. From outside nobody sees when a
// receiver takes a message, only how far it was whenever the recorder looked: a slice on the second track says that
// what is in it was taken between its beginning and its end. Arrows lead from each message to where it was taken, and
// on from a message of an application to its send result and back.
#pragma once

#include <string>

#include "record/reader.h"

namespace record {

std::string toPerfetto(const Recording& recording);

}  // namespace record
