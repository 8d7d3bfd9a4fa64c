#include "common/json_object.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace ftp_plugin {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

template <class Action>
int thrown_code(Action&& action) {
  try {
    action();
  } catch (AERROR code) {
    return code;
  }
  return -1;
}

static_assert(std::is_polymorphic_v<JsonObject> && std::has_virtual_destructor_v<JsonObject>);
static_assert(sizeof(JsonObject) == 2 * sizeof(void*) + sizeof(Json::Value), "table, current, own");

TEST(JsonObject, OfANullTextIsAValidNull) {
  const JsonObject object{nullptr};
  EXPECT_FALSE(object.IsValid());
  EXPECT_FALSE(object.IsArray());
  EXPECT_EQ(object.GetArraySize(), 0U);
  EXPECT_EQ(object.ToText(), "null\n");
}

TEST(JsonObject, ParsesTextUpToItsZeroByte) {
  const JsonObject object{"{\"b\": 1, \"a\": [true, null, \"x\"]}"};
  EXPECT_TRUE(object.IsValid());
  EXPECT_EQ(object.ToText(), "{\"a\":[true,null,\"x\"],\"b\":1}\n");
}

TEST(JsonObject, ParsesExactlyTheBytesItIsGiven) {
  EXPECT_EQ(JsonObject("[1]garbage", 3).ToText(), "[1]\n");
  EXPECT_EQ(thrown_code([] { JsonObject("[1]", 2); }), JSON_PARSE_FAILED);
}

TEST(JsonObject, KeepsCommentsOnlyOfZeroTerminatedText) {
  const char text[] = "// why\n[1]";
  Json::Value kept;
  JsonObject view{kept};
  view = JsonObject{text}.Copy();
  EXPECT_THAT(kept.getComment(Json::commentBefore), HasSubstr("why"));
  Json::Value bare;
  JsonObject other{bare};
  other = JsonObject(text, sizeof text - 1).Copy();
  EXPECT_FALSE(bare.hasComment(Json::commentBefore));
}

TEST(JsonObject, ThrowsItsCodeForTextThatIsNoJson) {
  EXPECT_EQ(JSON_PARSE_FAILED, 6001);
  for (const char* text : {"", "{", "nonsense", "[1,", "{\"a\"}", "\"open"}) {
    EXPECT_EQ(thrown_code([text] { JsonObject object{text}; }), JSON_PARSE_FAILED) << text;
    EXPECT_EQ(
        thrown_code([text] { JsonObject object(text, static_cast<unsigned int>(std::string(text).size())); }),
        JSON_PARSE_FAILED)
        << text;
  }
  EXPECT_EQ(thrown_code([] { JsonObject object(nullptr, 0); }), JSON_PARSE_FAILED);
}

TEST(JsonObject, ThrowsItsCodeForTextNestedTooDeeply) {
  const std::string deep(100'000, '[');
  EXPECT_EQ(thrown_code([&] { JsonObject object{deep.c_str()}; }), JSON_PARSE_FAILED);
}

TEST(JsonObject, OfAValueIsAViewOfIt) {
  Json::Value value{Json::objectValue};
  JsonObject view{value};
  view["a"] = std::string{"x"};
  EXPECT_EQ(value["a"].asString(), "x");
}

TEST(JsonObject, CopyOfAnOwnerIsAnotherTree) {
  JsonObject owner{"{\"a\":1}"};
  JsonObject copy{owner};
  copy["a"] = std::string{"changed"};
  EXPECT_EQ(owner.ToText(), "{\"a\":1}\n");
  EXPECT_EQ(copy.ToText(), "{\"a\":\"changed\"}\n");
}

TEST(JsonObject, CopyOfAViewIsAViewOfTheSameValue) {
  JsonObject owner{"{\"a\":{\"b\":1}}"};
  const JsonObject view = owner["a"];
  JsonObject copy{view};
  copy["b"] = std::string{"changed"};
  EXPECT_EQ(owner.ToText(), "{\"a\":{\"b\":\"changed\"}}\n");
}

TEST(JsonObject, CopyOfANullOwnerIsAView) {
  JsonObject owner{nullptr};
  JsonObject copy{owner};
  copy = std::string{"x"};
  EXPECT_EQ(static_cast<std::string>(owner), "x");
}

TEST(JsonObject, AssigningAViewWritesThroughIntoTheViewedTree) {
  JsonObject source{"{\"s\":[1,2]}"};
  JsonObject target{"{\"t\":null}"};
  JsonObject view = target["t"];
  view = source["s"];
  EXPECT_EQ(target.ToText(), "{\"t\":[1,2]}\n");
  source["s"] = std::string{"later"};
  EXPECT_EQ(target.ToText(), "{\"t\":[1,2]}\n") << "a deep copy";
}

TEST(JsonObject, AssigningAnOwnerLeavesTheViewedTreeAlone) {
  const JsonObject source{"[1]"};
  JsonObject target{"{\"t\":0}"};
  JsonObject view = target["t"];
  view = source;
  EXPECT_EQ(view.ToText(), "[1]\n");
  EXPECT_EQ(target.ToText(), "{\"t\":0}\n");
}

TEST(JsonObject, AssigningToItselfOrFromItsOwnTreeIsSafe) {
  JsonObject owner{"{\"a\":{\"b\":[1,2]}}"};
  JsonObject& same = owner;
  owner = same;
  EXPECT_EQ(owner.ToText(), "{\"a\":{\"b\":[1,2]}}\n");
  owner = owner.GetObject("a/b");
  EXPECT_EQ(owner.ToText(), "[1,2]\n");
  owner = owner.Copy();
  EXPECT_EQ(owner.ToText(), "[1,2]\n");
}

TEST(JsonObject, AssigningTextReplacesTheValue) {
  JsonObject owner{"{\"a\":[1]}"};
  owner["a"] = std::string{"text"};
  EXPECT_EQ(owner.ToText(), "{\"a\":\"text\"}\n");
}

TEST(JsonObject, ConvertsByTheRulesOfItsValue) {
  JsonObject object{
      "{\"text\":\"x\",\"number\":7,\"negative\":-7,\"big\":18446744073709551615,\"real\":2.5,\"yes\":true,"
      "\"wide\":4294967299,\"none\":null}"};
  EXPECT_EQ(static_cast<std::string>(object["text"]), "x");
  EXPECT_EQ(static_cast<std::string>(object["number"]), "7");
  EXPECT_EQ(static_cast<std::string>(object["yes"]), "true");
  EXPECT_EQ(static_cast<std::string>(object["none"]), "");
  EXPECT_EQ(static_cast<std::uint64_t>(object["big"]), 18446744073709551615U);
  EXPECT_EQ(static_cast<unsigned long long>(object["big"]), 18446744073709551615U);
  EXPECT_EQ(static_cast<long long>(object["negative"]), -7);
  EXPECT_EQ(static_cast<long>(object["negative"]), -7);
  EXPECT_EQ(static_cast<int>(object["negative"]), -7);
  EXPECT_EQ(static_cast<AERROR>(object["number"]), FILE_OPEN_FAILED);
  EXPECT_EQ(static_cast<double>(object["real"]), 2.5);
  EXPECT_TRUE(static_cast<bool>(object["yes"]));
  EXPECT_TRUE(static_cast<bool>(object["number"]));
  EXPECT_FALSE(static_cast<bool>(object["none"]));
}

TEST(JsonObject, CutsNumbersThatDoNotFitTheNarrowerTypes) {
  JsonObject object{"[4294967299]"};
  EXPECT_EQ(static_cast<int>(object[0]), 3);
  EXPECT_EQ(static_cast<AERROR>(object[0]), INSUFFICIENT_BUFFER);
}

TEST(JsonObject, ThrowsForConversionsThatMakeNoSense) {
  JsonObject object{"{\"text\":\"x\",\"list\":[],\"negative\":-1}"};
  EXPECT_THROW((void)static_cast<bool>(object["text"]), Json::Exception);
  EXPECT_THROW((void)static_cast<long>(object["text"]), Json::Exception);
  EXPECT_THROW((void)static_cast<std::string>(object["list"]), Json::Exception);
  EXPECT_THROW((void)static_cast<std::uint64_t>(object["negative"]), Json::Exception);
}

TEST(JsonObject, CarriesWideTextAsUtf8) {
  JsonObject object = JsonObject::GetEmptyObject();
  EXPECT_TRUE(object.Insert("w", std::wstring{L"\u00e4\u20ac\U0001F600"}));
  EXPECT_EQ(static_cast<std::string>(object["w"]), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(static_cast<std::wstring>(object["w"]), L"\u00e4\u20ac\U0001F600");
  object["bad"] = std::string{"\xFF"};
  EXPECT_THROW((void)static_cast<std::wstring>(object["bad"]), std::range_error);
  EXPECT_THROW(object.Insert("w", std::wstring(1, static_cast<wchar_t>(0x110000))), std::range_error);
}

struct PathCase {
  const char* label;
  const char* path;
  const char* found;  // null: nothing
};

class JsonPath : public testing::TestWithParam<PathCase> {};

TEST_P(JsonPath, LeadsToAValueOrNowhere) {
  const PathCase& want = GetParam();
  const JsonObject object{R"({"a":{"b":{"c":1}},"list":[{"x":1}],"null":null,"0":"zero"})"};
  EXPECT_EQ(object.HasObject(want.path), want.found != nullptr);
  if (want.found != nullptr) {
    EXPECT_EQ(object.GetObject(want.path).ToText(), std::string{want.found} + "\n");
  } else {
    EXPECT_EQ(thrown_code([&] { (void)object.GetObject(want.path); }), ACCESS_VIOLATION);
  }
}

constexpr PathCase kPathCases[] = {
    {"Member", "null", "null"},
    {"MemberOfAMember", "a/b/c", "1"},
    {"LeadingSeparator", "/a/b/c", "1"},
    {"TrailingSeparators", "a/b/c//", "1"},
    {"DoubledSeparators", "a//b///c", "1"},
    {"Missing", "a/x", nullptr},
    {"MissingInTheMiddle", "x/b", nullptr},
    {"BehindANumber", "a/b/c/d", nullptr},
    {"BehindNull", "null/a", nullptr},
    {"MemberOfAnArray", "list/x", nullptr},
    {"IndexIntoAnArray", "list/0", nullptr},
    {"DigitsNameMembers", "0", "\"zero\""},
    {"LetterCaseCounts", "A", nullptr},
};
INSTANTIATE_TEST_SUITE_P(, JsonPath, testing::ValuesIn(kPathCases),
                         [](auto& row) { return row.param.label; });

TEST(JsonObject, AnEmptyPathLeadsToTheValueItself) {
  for (const char* path : {"", "/", "///"}) {
    const JsonObject object{"{\"a\":1}"};
    EXPECT_TRUE(object.HasObject(path));
    EXPECT_EQ(object.GetObject(path).ToText(), "{\"a\":1}\n");
    EXPECT_TRUE(JsonObject{"[1]"}.HasObject(path));
  }
}

TEST(JsonObject, AnArrayHasNoMembers) {
  EXPECT_FALSE(JsonObject{"[{\"x\":1}]"}.HasObject("x"));
  EXPECT_FALSE(JsonObject{"\"x\""}.HasObject("x"));
}

TEST(JsonObject, LookingForAPathAddsNothing) {
  const JsonObject object{"{\"a\":{}}"};
  EXPECT_FALSE(object.HasObject("a/b/c"));
  EXPECT_EQ(thrown_code([&] { (void)object.GetObject("a/b"); }), ACCESS_VIOLATION);
  EXPECT_EQ(object.ToText(), "{\"a\":{}}\n");
}

TEST(JsonObject, GetObjectIsAViewIntoTheTree) {
  JsonObject object{"{\"a\":{\"b\":1}}"};
  JsonObject view = object.GetObject("a/b");
  view = std::string{"x"};
  EXPECT_EQ(object.ToText(), "{\"a\":{\"b\":\"x\"}}\n");
}

TEST(JsonObject, IndexingMakesWhatIsNotThere) {
  JsonObject object = JsonObject::GetEmptyObject();
  EXPECT_FALSE(object["list"].IsValid());
  EXPECT_FALSE(object["list"][1].IsValid());
  EXPECT_EQ(object["list"].GetArraySize(), 2U);
  EXPECT_EQ(object.ToText(), "{\"list\":[null,null]}\n");
}

TEST(JsonObject, IndexingTheWrongKindOfValueThrows) {
  JsonObject object{"{\"list\":[1],\"text\":\"x\"}"};
  EXPECT_THROW((void)object[0], Json::Exception);
  EXPECT_THROW((void)object["list"]["a"], Json::Exception);
  EXPECT_THROW((void)object["list"][-1], Json::Exception);
  EXPECT_THROW((void)object["text"]["a"], Json::Exception);
  EXPECT_THROW((void)object["text"].GetKeys(), Json::Exception);
}

TEST(JsonObject, CountsElementsAndMembers) {
  EXPECT_EQ(JsonObject{"[1,2,3]"}.GetArraySize(), 3U);
  EXPECT_EQ(JsonObject{"{\"a\":1}"}.GetArraySize(), 1U);
  EXPECT_EQ(JsonObject{"\"text\""}.GetArraySize(), 0U);
  EXPECT_EQ(JsonObject{"null"}.GetArraySize(), 0U);
}

TEST(JsonObject, InsertStoresADeepCopy) {
  JsonObject object = JsonObject::GetEmptyObject();
  JsonObject value{"[1]"};
  EXPECT_TRUE(object.Insert("v", value));
  value.InsertArrayItem(std::string{"later"});
  EXPECT_EQ(object.ToText(), "{\"v\":[1]}\n");
  EXPECT_TRUE(object.Insert("v", object)) << "even of itself";
  EXPECT_EQ(object.ToText(), "{\"v\":{\"v\":[1]}}\n");
}

TEST(JsonObject, InsertArrayItemAppends) {
  JsonObject list{"[]"};
  JsonObject item{"{\"a\":1}"};
  EXPECT_TRUE(list.InsertArrayItem("text"));
  EXPECT_TRUE(list.InsertArrayItem(item));
  EXPECT_TRUE(list.InsertArrayItem(list));
  EXPECT_EQ(list.ToText(), "[\"text\",{\"a\":1},[\"text\",{\"a\":1}]]\n");
}

TEST(JsonObject, RemoveTellsWhetherSomethingWasThere) {
  JsonObject object{"{\"a\":1,\"b\":[10,20,30]}"};
  EXPECT_TRUE(object.Remove("a"));
  EXPECT_FALSE(object.Remove("a"));
  JsonObject list = object["b"];
  EXPECT_TRUE(list.RemoveArrayItem(1));
  EXPECT_FALSE(list.RemoveArrayItem(2));
  EXPECT_TRUE(list.RemoveArrayItem(0x100000000UL)) << "the low 32 bits are 0";
  EXPECT_EQ(object.ToText(), "{\"b\":[30]}\n");
  EXPECT_FALSE(list.Remove("a")) << "an array has no members";
  EXPECT_FALSE(object.RemoveArrayItem(0)) << "an object has no elements";
}

TEST(JsonObject, GetKeysAreInTheOrderOfTheirBytes) {
  EXPECT_THAT(JsonObject{"{\"b\":1,\"a\":2,\"B\":3}"}.GetKeys(), ElementsAre("B", "a", "b"));
  EXPECT_THAT(JsonObject{nullptr}.GetKeys(), IsEmpty());
}

TEST(JsonObject, CopyIsAView) {
  JsonObject object{"{\"a\":1}"};
  object.Copy()["a"] = std::string{"x"};
  EXPECT_EQ(object.ToText(), "{\"a\":\"x\"}\n");
}

TEST(JsonObject, ToTextOfAnEmptyObjectIsTwoBracesAndALineFeed) {
  EXPECT_EQ(JsonObject::GetEmptyObject().ToText(), "{}\n");
  EXPECT_TRUE(JsonObject::GetEmptyObject().IsValid());
}

TEST(JsonObject, KnowsArrays) {
  EXPECT_TRUE(JsonObject{"[]"}.IsArray());
  EXPECT_FALSE(JsonObject{"{}"}.IsArray());
  EXPECT_FALSE(JsonObject{nullptr}.IsArray());
}

}  // namespace
}  // namespace ftp_plugin
