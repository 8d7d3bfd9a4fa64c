#include "protocol/form_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "protocol/field_descriptors.h"
#include "tests/unit/transport/recording_log.h"

namespace ftp_plugin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What a walk applied, as "key=value" with the value in JSON.
std::vector<std::string> applied(const char* document) {
  std::vector<std::string> result;
  for_each_form_value("SetOpt", document, [&](const std::string& key, JsonObject& value) {
    std::string text = value.ToText();
    text.pop_back();
    result.push_back(key + "=" + text);
  });
  return result;
}

struct FormCase {
  const char* label;
  const char* document;
  std::vector<std::string> applied;
};

class FilledInDocument : public testing::TestWithParam<FormCase> {};

TEST_P(FilledInDocument, CountsAsFarAsItCanBeRead) {
  const FormCase& want = GetParam();
  EXPECT_EQ(applied(want.document), want.applied) << want.document;
}

const FormCase kFormCases[] = {
    {"FieldsInOrderOfGroupsAndData",
     R"([{"name":"G","data":[{"b":{"value":"1"}},{"a":{"value":true}}]},{"data":[{"c":{"value":""}}]}])",
     {"b=\"1\"", "a=true", "c=\"\""}},
    {"SameFieldTwice", R"([{"data":[{"a":{"value":1}},{"a":{"value":2}}]}])", {"a=1", "a=2"}},
    {"ValuesOfAnyKind",
     R"([{"data":[{"a":{"value":[1]}},{"b":{"value":{"x":null}}},{"c":{"value":2.5}}]}])",
     {"a=[1]", "b={\"x\":null}", "c=2.5"}},
    {"OtherMembersOfADescriptionDoNotMatter", R"([{"data":[{"a":{"label":7,"value":"v"}}]}])", {"a=\"v\""}},

    // Documents without a field.
    {"NullPointer", nullptr, {}},
    {"EmptyText", "", {}},
    {"NoJson", "url=ftp://host", {}},
    {"CutOff", R"([{"data":[{"a":{"value":"v"}}]},)", {}},
    {"NullDocument", "null", {}},
    {"NumberDocument", "7", {}},
    {"TextDocument", "\"text\"", {}},
    {"EmptyList", "[]", {}},
    {"EmptyObjectDocument", "{}", {}},
    {"ObjectDocument", R"({"data":[{"a":{"value":"v"}}]})", {}},

    // Groups: where nothing can be read the walk goes on, where something is of the wrong kind it ends.
    {"NullGroup", R"([null,{"data":[{"a":{"value":1}}]}])", {"a=1"}},
    {"GroupWithoutData", R"([{"name":"G"},{"data":[{"a":{"value":1}}]}])", {"a=1"}},
    {"NullData", R"([{"data":null},{"data":[{"a":{"value":1}}]}])", {"a=1"}},
    {"EmptyData", R"([{"data":[]},{"data":[{"a":{"value":1}}]}])", {"a=1"}},
    {"EmptyObjectData", R"([{"data":{}},{"data":[{"a":{"value":1}}]}])", {"a=1"}},
    {"TextData", R"([{"data":"text"},{"data":[{"a":{"value":1}}]}])", {"a=1"}},
    {"NumberData", R"([{"data":7},{"data":[{"a":{"value":1}}]}])", {"a=1"}},
    {"ObjectData",
     R"([{"data":[{"a":{"value":1}}]},{"data":{"b":{"value":2}}},{"data":[{"c":{"value":3}}]}])",
     {"a=1"}},
    {"NumberGroup", R"([{"data":[{"a":{"value":1}}]},7,{"data":[{"b":{"value":2}}]}])", {"a=1"}},
    {"TextGroup", R"([{"data":[{"a":{"value":1}}]},"data",{"data":[{"b":{"value":2}}]}])", {"a=1"}},
    {"BooleanGroup", R"([true,{"data":[{"b":{"value":2}}]}])", {}},
    {"ListGroup", R"([[{"a":{"value":1}}],{"data":[{"b":{"value":2}}]}])", {}},
    {"EmptyListGroup", R"([[],{"data":[{"b":{"value":2}}]}])", {}},

    // Elements.
    {"NullElement", R"([{"data":[null,{"a":{"value":1}}]}])", {"a=1"}},
    {"EmptyElement", R"([{"data":[{},{"a":{"value":1}}]}])", {"a=1"}},
    {"NumberElement",
     R"([{"data":[{"a":{"value":1}},7,{"b":{"value":2}}]},{"data":[{"c":{"value":3}}]}])",
     {"a=1"}},
    {"TextElement", R"([{"data":[{"a":{"value":1}},"b",{"b":{"value":2}}]}])", {"a=1"}},
    {"ListElement", R"([{"data":[{"a":{"value":1}},[{"b":{"value":2}}]]}])", {"a=1"}},
    {"OnlyTheFirstKeyOfAnElement", R"([{"data":[{"b":{"value":2},"a":{"value":1}}]}])", {"a=1"}},
    {"EmptyKey", R"([{"data":[{"":{"value":1}}]}])", {"=1"}},

    // Descriptions.
    {"MissingValueIsNull", R"([{"data":[{"a":{"label":"A"}},{"b":{"value":2}}]}])", {"a=null", "b=2"}},
    {"NullDescription", R"([{"data":[{"a":null},{"b":{"value":2}}]}])", {"a=null", "b=2"}},
    {"TextDescription", R"([{"data":[{"a":{"value":1}},{"b":"text"},{"c":{"value":3}}]}])", {"a=1"}},
    {"NumberDescription", R"([{"data":[{"a":{"value":1}},{"b":7},{"c":{"value":3}}]}])", {"a=1"}},
    {"ListDescription", R"([{"data":[{"a":{"value":1}},{"b":[{"value":2}]},{"c":{"value":3}}]}])", {"a=1"}},
};
INSTANTIATE_TEST_SUITE_P(, FilledInDocument, testing::ValuesIn(kFormCases),
                         [](auto& row) { return row.param.label; });

TEST(ForEachFormValue, ReadsTheOwnDescriptors) {
  EXPECT_THAT(
      applied(opt_fields_text().c_str()),
      ElementsAre("charset=\"string:Autodetect/Force UTF-8/Local charset\"", "use_server_time=\"boolean\"",
                  "proxy_type=\"string:None/SOCKS4/SOCKS5/HTTP with TUNNEL/HTTP without TUNNEL\"",
                  "proxy_host=\"string\"", "proxy_port=\"string\"", "proxy_user=\"string\"",
                  "proxy_password=\"password\""));
}

TEST(ForEachFormValue, TextNestedTooDeeplyHoldsNoField) {
  std::string document = R"([{"data":[{"a":{"value":1}},{"b":{"value":)";
  document.append(100'000, '[').append(100'000, ']').append("}}]}]");
  EXPECT_THAT(applied(document.c_str()), IsEmpty());
}

TEST(ForEachFormValue, EndsAtAConversionThatMakesNoSense) {
  std::vector<bool> read;
  for_each_form_value(
      "SetOpt",
      R"([{"data":[{"a":{"value":true}},{"b":{"value":0}},{"c":{"value":"true"}},{"d":{"value":true}}]},
          {"data":[{"e":{"value":true}}]}])",
      [&](const std::string&, JsonObject& value) { read.push_back(static_cast<bool>(value)); });
  EXPECT_THAT(read, ElementsAre(true, false));
}

TEST(ForEachFormValue, TellsTheLogWhyItEnded) {
  const testing_tools::recording_log log;
  for_each_form_value("Connect", "url=ftp://host", [](const std::string&, JsonObject&) {});
  for_each_form_value("SetOpt", R"([{"data":[{"a":{"value":"text"}}]}])",
                      [](const std::string&, JsonObject& value) { (void)static_cast<bool>(value); });
  for_each_form_value("SetOpt", "[]", [](const std::string&, JsonObject&) {});
  EXPECT_EQ(log.lines(),
            (std::vector<testing_tools::log_line>{
                {LOGLEVEL_ERROR, "[PROTOCOL  ] Connect exception: [JSON_PARSE_FAILED]"},
                {LOGLEVEL_ERROR, "[PROTOCOL  ] SetOpt exception: [Value is not convertible to bool.]"},
            }));
}

TEST(ForEachFormValue, LetsNoExceptionOut) {
  const char* const document = R"([{"data":[{"a":{"value":1}},{"b":{"value":2}}]}])";
  int calls = 0;
  for_each_form_value("SetOpt", document, [&](const std::string&, JsonObject&) { ++calls, throw FAILED; });
  for_each_form_value("SetOpt", document,
                      [&](const std::string&, JsonObject&) { ++calls, throw std::bad_alloc{}; });
  for_each_form_value("SetOpt", document, [&](const std::string&, JsonObject&) { ++calls, throw 7; });
  for_each_form_value("SetOpt", document, [&](const std::string&, JsonObject& value) {
    ++calls;
    (void)value.GetObject("no/such/member");
  });
  EXPECT_EQ(calls, 4) << "each walk ended at its first field";
}

}  // namespace
}  // namespace ftp_plugin
