#include "host/tree/walk.h"

#include <gtest/gtest.h>

#include "tests/unit/host/memory_tree.h"

namespace ftp_host {
namespace {

/// Writes down what it is called for, one word a call.
class Recorder : public Visitor {
 public:
  bool wants(const std::string& path, const Entry&) override { return unwanted.count(path) == 0; }
  void file(const std::string& path, const Entry& entry) override {
    if (broken.count(path) > 0) throw Failure{ExitCode::other, path};
    calls += path + (entry.directory ? "?" : "") + " ";
  }
  bool enter(const std::string& path, const Entry&, const Listing&) override {
    if (broken.count(path) > 0) throw Failure{ExitCode::other, path};
    calls += path + "/ ";
    return closed.count(path) == 0;
  }
  void leave(const std::string& path, const Entry&) override { calls += path + "< "; }
  void leads_back(const std::string& path, const Entry&) override { calls += path + "@ "; }
  void failed(const Failure& failure) override { calls += std::string{"!"} + failure.what() + " "; }

  std::set<std::string> unwanted, broken, closed;
  std::string calls;
};

Entry top() {
  Entry entry;
  entry.directory = true;
  return entry;
}

TEST(Walk, GoesThroughDirectoriesDepthFirst) {
  MemoryTree tree{{"a/", "a/x/", "a/x/f", "a/y", "b"}};
  Recorder recorder;
  walk(tree, Links::followed, top(), std::nullopt, recorder);
  EXPECT_EQ(recorder.calls, "/ a/ a/x/ a/x/f a/x< a/y a< b < ");
}

TEST(Walk, ListsTheTopOnlyWhereItsListingIsNotKnown) {
  MemoryTree tree{{"a"}};
  const Listing known = tree.list("");
  tree.unreadable.insert("");
  Recorder recorder;
  walk(tree, Links::followed, top(), known, recorder);
  EXPECT_EQ(recorder.calls, "/ a < ");
  Recorder unknown;
  walk(tree, Links::followed, top(), std::nullopt, unknown);
  EXPECT_EQ(unknown.calls, "! ");
}

TEST(Walk, LooksAtNothingThatIsNotWanted) {
  MemoryTree tree{{"a/", "a/f", "b", "c"}};
  Recorder recorder;
  recorder.unwanted = {"a", "b"};
  walk(tree, Links::followed, top(), std::nullopt, recorder);
  EXPECT_EQ(recorder.calls, "/ c < ");
}

TEST(Walk, DoesNotLeaveADirectoryThatWasNotEntered) {
  MemoryTree tree{{"a/", "a/f", "b"}};
  Recorder recorder;
  recorder.closed = {"a"};
  walk(tree, Links::followed, top(), std::nullopt, recorder);
  EXPECT_EQ(recorder.calls, "/ a/ b < ");
}

TEST(Walk, GoesOnBehindWhatFails) {
  MemoryTree tree{{"a/", "a/f", "b/", "b/f", "c", "d"}};
  tree.unreadable.insert("a");
  Recorder recorder;
  recorder.broken = {"b", "c"};
  walk(tree, Links::followed, top(), std::nullopt, recorder);
  EXPECT_EQ(recorder.calls, "/ !a !b !c d < ");
}

TEST(Walk, EndsWithACancellation) {
  class Cancelling final : public Recorder {
   public:
    void file(const std::string&, const Entry&) override { throw Failure{ExitCode::cancelled, "cancelled"}; }
  };
  MemoryTree tree{{"a", "b"}};
  Cancelling visitor;
  EXPECT_THROW(walk(tree, Links::followed, top(), std::nullopt, visitor), Failure);
  EXPECT_EQ(visitor.calls, "/ ");
}

TEST(Walk, TakesALinkToAFileForAFile) {
  MemoryTree tree{{"link/"}};
  tree.unreadable.insert("link");
  tree.file_links["link"] = make_file("target", 5, 100);
  Recorder recorder;
  walk(tree, Links::followed, top(), std::nullopt, recorder);
  EXPECT_EQ(recorder.calls, "/ link < ");
}

TEST(Walk, EntersNoLinkThatLeadsBack) {
  /// Every directory holds the same: a file and a link to itself.
  class Endless final : public MemoryTree {
   public:
    Endless() : MemoryTree{{}} {}
    Listing list(const std::string& place) override {
      Listing listing;
      listing.entries = {make_file("f", 5, 100), make_file("loop", 0, 100)};
      listing.entries[1].directory = true;
      for (Entry& entry : listing.entries) entry.id = path_below(place, entry.name);
      return listing;
    }
  };
  Endless tree;
  Recorder recorder;
  walk(tree, Links::followed, top(), std::nullopt, recorder);
  EXPECT_EQ(recorder.calls, "/ f loop@ < ");
}

}  // namespace
}  // namespace ftp_host
