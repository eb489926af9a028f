// What the doctor has found, for people and for programs.
#pragma once

#include <string>

#include "doctor/examination.h"
#include "doctor/finding.h"
#include "text/fields.h"

namespace doctor {

std::string reportText(const Findings& findings, const Examination& all, bool isColoured);
text::Fields reportFields(const Findings& findings, const Examination& all);

std::size_t faults(const Findings& findings);

}  // namespace doctor
