// A program that links the libraries, and plug-ins of it that use them too: whoever asks first, all get the same.
#include "tests/abi/look_at_singletons.h"
#include "tests/abi/singletons_user.h"

namespace {

TEST_ROLE(singletons) {
  return compareSingletons(args, &lookHere);
}

TEST(Singletons, are_shared_with_a_plug_in_that_is_loaded_locally) {
  expectOneOfEach({"program", "local:" LINKAPP_PLUGIN});
}

TEST(Singletons, are_shared_when_a_plug_in_makes_them) {
  expectOneOfEach({"local:" LINKAPP_PLUGIN, "program"});
}

TEST(Singletons, are_shared_with_a_plug_in_that_binds_to_itself_first) {
  expectOneOfEach({"program", "local:" LINKAPP_SYMBOLIC_PLUGIN});
}

TEST(Singletons, are_shared_when_a_plug_in_that_binds_to_itself_first_makes_them) {
  expectOneOfEach({"local:" LINKAPP_SYMBOLIC_PLUGIN, "program"});
}

TEST(Singletons, are_shared_with_a_plug_in_that_is_bound_to_its_libraries_first) {
  expectOneOfEach({"program", "deepbind:" LINKAPP_PLUGIN});
}

TEST(Singletons, are_shared_when_a_plug_in_that_is_bound_to_its_libraries_first_makes_them) {
  expectOneOfEach({"deepbind:" LINKAPP_PLUGIN, "program"});
}

TEST(Singletons, are_shared_between_plug_ins_however_they_are_loaded) {
  expectOneOfEach({"global:" LINKAPP_PLUGIN, "program", "deepbind:" LINKAPP_SYMBOLIC_PLUGIN});
}

}  // namespace
