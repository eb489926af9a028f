#include "control/request.h"

#include <gtest/gtest.h>

namespace {

using control::parseRequest;
using control::Request;
using control::RequestError;

TEST(ControlRequest, holds_a_command_as_one_text) {
  Request request;
  RequestError error;
  ASSERT_TRUE(parseRequest(R"({"id":7,"command":"send app \"a b\""})", request, error));
  EXPECT_EQ(request.id, "7");
  ASSERT_EQ(request.words.size(), 3U);
  EXPECT_EQ(request.words[2].text, "a b");
}

TEST(ControlRequest, holds_a_command_as_words_that_are_taken_as_they_stand) {
  Request request;
  RequestError error;
  ASSERT_TRUE(parseRequest(R"({"id":"x\"y","command":["send","app","# \"no quotes"]})", request, error));
  EXPECT_EQ(request.id, R"("x\"y")");
  ASSERT_EQ(request.words.size(), 3U);
  EXPECT_EQ(request.words[2].text, "# \"no quotes");
}

TEST(ControlRequest, with_a_mistake_in_the_command_has_hope) {
  Request request;
  RequestError error;
  EXPECT_FALSE(parseRequest(R"({"id":1,"command":"send \"a"})", request, error));
  EXPECT_FALSE(error.isHopeless);
  EXPECT_EQ(error.column, 6U);
  EXPECT_EQ(request.id, "1");
}

TEST(ControlRequest, that_is_none_has_no_hope) {
  for (const char* const line :
       {"", "hello", "{", "[]", "7", "null", "\xff\xfe", R"({"id":1})", R"({"command":7})", R"({"command":[]})",
        R"({"command":["a",1]})", R"({"id":[1],"command":"state"})", R"({"id":1.5,"command":"state"})"}) {
    Request request;
    RequestError error;
    EXPECT_FALSE(parseRequest(line, request, error)) << line;
    EXPECT_TRUE(error.isHopeless) << line;
    EXPECT_FALSE(error.text.empty()) << line;
  }
}

TEST(ControlRequest, nested_a_million_deep_is_refused) {
  Request request;
  RequestError error;
  EXPECT_FALSE(parseRequest(std::string(60000, '['), request, error));
}

}  // namespace
