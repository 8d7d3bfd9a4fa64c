// One handle on JSON: what the host hands over as text, and what it gets.
//
// A JsonObject either owns a value or is a view of a value inside another object's tree. GetObject, the index
// operators, Copy and the construction from a Json::Value make views; they must not outlive the tree, and
// nothing guards that. One thread at a time may use a tree.
//
// Errors are thrown. Of its own it throws a bare AERROR: JSON_PARSE_FAILED for text that is no JSON,
// ACCESS_VIOLATION for a path without a value. What jsoncpp does not allow, such as a member of an array or a
// boolean out of text, throws Json::Exception.
//
// No operation uses paths, wide text, numbers, IsValid, IsArray, Copy, Remove or RemoveArrayItem: they belong
// to the library by contract.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "boundary/abi/error_codes.h"

namespace ftp_plugin {

class JsonObject {
 public:
  /// Owner of the value in `length` bytes at `text`. Comments are not kept.
  JsonObject(const char* text, unsigned int length);
  /// Owner of the value in `text`, comments kept; of a null value when `text` is null.
  explicit JsonObject(const char* text);
  /// View of `value`.
  explicit JsonObject(Json::Value& value) noexcept;
  /// Of an owner: a deep copy. Of a view, and of the owner of a null value: a view of the same value.
  JsonObject(const JsonObject& other);
  virtual ~JsonObject();

  /// From a view: a deep copy into the value that this object works on, so into the viewed tree if this is a
  /// view. From an owner: this object becomes the owner of a deep copy and leaves what it viewed alone.
  JsonObject& operator=(const JsonObject& other);
  /// The value that this object works on becomes that text.
  JsonObject& operator=(const std::string& text);

  // By jsoncpp's rules: null is empty, 0 and false; what has no sensible conversion throws.
  explicit operator std::string() const;
  explicit operator std::wstring() const;  ///< UTF-8 decoded; std::range_error when it is none
  explicit operator unsigned long() const;
  explicit operator unsigned long long() const;
  explicit operator long() const;
  explicit operator long long() const;
  explicit operator int() const;     ///< the low 32 bits of the 64-bit value
  explicit operator AERROR() const;  ///< the low 32 bits of the 64-bit value
  explicit operator double() const;
  explicit operator bool() const;

  /// View of the value that `path`, member names with "/" between them, leads to. Empty names are skipped, so
  /// an empty path leads to this value. Elements of arrays cannot be named. Throws ACCESS_VIOLATION.
  [[nodiscard]] JsonObject GetObject(const char* path) const;
  /// False where GetObject would throw.
  [[nodiscard]] bool HasObject(const char* path) const;

  /// View of an element or a member. Makes it when it is not there: an array grows, an object gains a null.
  [[nodiscard]] JsonObject operator[](int index) const;
  [[nodiscard]] JsonObject operator[](const char* name) const;

  /// Number of elements of an array or members of an object; 0 for everything else.
  [[nodiscard]] unsigned int GetArraySize() const;

  // Each stores a deep copy and returns true.
  bool Insert(const char* name, const JsonObject& value);
  bool Insert(const char* name, const std::wstring& value);  ///< as UTF-8; std::range_error when it cannot be
  bool InsertArrayItem(std::string value);
  bool InsertArrayItem(JsonObject& value);

  // False when there is nothing to remove. Only the low 32 bits of `index` count.
  bool RemoveArrayItem(unsigned long index);
  bool Remove(const char* name);

  /// Names of the members, in ascending order of their bytes.
  [[nodiscard]] std::vector<std::string> GetKeys() const;

  /// A view of the same value, whatever the name says.
  [[nodiscard]] JsonObject Copy() const;

  /// Compact text on one line, members in ascending order of their names, closed by a line feed.
  [[nodiscard]] std::string ToText() const;

  [[nodiscard]] bool IsValid() const noexcept;  ///< the value is not null
  [[nodiscard]] bool IsArray() const noexcept;

  /// Owner of "{}".
  [[nodiscard]] static JsonObject GetEmptyObject();

 private:
  void parse(const char* begin, const char* end, bool keep_comments);
  /// The value that `path` leads to, or null.
  [[nodiscard]] Json::Value* find(const char* path) const;

  Json::Value* current;  // own, or a value in another object's tree
  Json::Value own;       // null in a view
};

}  // namespace ftp_plugin
