// Memory that ends for all threads but the main one.
#pragma once

namespace scarce_memory {

// From now on `new` gives memory so many times, and then refuses it so many times.
void plan(unsigned int given, unsigned int refused);

// How many of the refusals are still to come.
unsigned int refusalsLeft();

}  // namespace scarce_memory
