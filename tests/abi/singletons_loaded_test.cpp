// A program that knows nothing of the libraries: they come, and only there, with the plug-ins that it loads.
#include "tests/abi/singletons_user.h"

namespace {

TEST_ROLE(singletons) {
  return compareSingletons(args, nullptr);
}

TEST(LoadedSingletons, are_shared_between_plug_ins_that_do_not_see_each_other) {
  expectOneOfEach({"local:" LINKAPP_PLUGIN, "local:" LINKAPP_SYMBOLIC_PLUGIN});
}

TEST(LoadedSingletons, are_shared_when_the_plug_in_that_binds_to_itself_first_makes_them) {
  expectOneOfEach({"local:" LINKAPP_SYMBOLIC_PLUGIN, "local:" LINKAPP_PLUGIN});
}

TEST(LoadedSingletons, are_shared_when_a_plug_in_is_bound_to_its_libraries_first) {
  expectOneOfEach({"local:" LINKAPP_PLUGIN, "deepbind:" LINKAPP_SYMBOLIC_PLUGIN});
}

TEST(LoadedSingletons, are_shared_when_the_libraries_are_there_for_all) {
  expectOneOfEach({"global:" LINKAPP_PLUGIN, "local:" LINKAPP_SYMBOLIC_PLUGIN});
}

}  // namespace
