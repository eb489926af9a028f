// The files of a bundle.
//
// Without payloads nothing in them was sent by an application or a phone: no bytes of the rings, no texts and addresses
// of notifications, no command lines, which may hold messages, too.
#pragma once

#include <string>
#include <vector>

#include "doctor/examination.h"

namespace bundle {

struct File {
  std::string name;
  std::string content;
};

std::vector<File> contentsOf(const doctor::Examination& all, const doctor::Places& places, bool hasPayloads);

}  // namespace bundle
