// The processing history: its file, its trees against a simple model, hostile ones, descriptions.

#include <gmock/gmock.h>

#include <algorithm>
#include <map>

#include "tervalon/raw_history.h"
#include "tests/support/process.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

using ::testing::ElementsAre;

RawHistoryEntry Named(const std::string& name) {
  RawHistoryEntry entry;
  std::memset(&entry, 0xA5, sizeof(entry));  // what the library sets is set, the rest is kept
  std::memset(entry.process.name, 0, sizeof(entry.process.name));
  name.copy(entry.process.name, sizeof(entry.process.name));
  return entry;
}

// A history in memory of its exact size: reading or writing behind it is found by the sanitizers.
struct History {
  explicit History(size_t size = RAW_HISTORY_ENTRIES) : entries(size, RawHistoryEntry{}) {
    header.tree_count = RAW_HISTORY_TREES;
  }

  int32_t Add(int16_t tree, uint16_t parent, const std::string& name = "") {
    RawHistoryEntry entry = Named(name);
    return RawHistAddProcess(&header, entries.data(), tree, parent, &entry);
  }
  int32_t Delete(int16_t tree, uint16_t index, int32_t force = 0) {
    return RawHistDeleteProcess(&header, entries.data(), tree, index, force);
  }
  int32_t Search(int16_t tree, const std::string& name) const {
    return RawHistSearchTag(&header, entries.data(), tree, name.c_str());
  }
  int32_t Get(int16_t tree, uint16_t index, int32_t verify, int32_t mode) const {
    return RawHistGetProcess(&header, entries.data(), tree, index, verify, mode);
  }

  RawHistoryHeader header = {};
  std::vector<RawHistoryEntry> entries;
};

int32_t Result(uint16_t index) { return index << 16 | index; }

// --- the model: nodes that know their children

class Model {
 public:
  uint16_t Add(int tree, uint16_t parent, const std::string& name) {
    uint16_t index = 1;
    while (nodes_.count(index) != 0) ++index;
    if (index > RAW_HISTORY_MAX_INDEX) return 0;
    if (nodes_.count(parent) == 0 || nodes_[parent].tree != tree) parent = 0;
    nodes_[index] = {tree, parent, {}, name, 0};
    Siblings(tree, parent).push_back(index);
    highest_ = std::max(highest_, index);
    return index;
  }

  bool Delete(int tree, uint16_t index, bool force) {
    const auto found = nodes_.find(index);
    if (found == nodes_.end() || found->second.tree != tree) return false;
    if ((found->second.flags & RAW_HISTORY_PROTECTED) != 0 && !force) return false;
    found->second.flags |= RAW_HISTORY_DELETION_PENDING;
    while (index != 0 && nodes_[index].children.empty() &&
           (nodes_[index].flags & RAW_HISTORY_DELETION_PENDING) != 0) {
      const uint16_t parent = nodes_[index].parent;
      std::erase(Siblings(tree, parent), index);
      nodes_.erase(index);
      index = parent;
    }
    return true;
  }

  uint16_t Search(int tree, const std::string& name) const { return Search(Top(tree), name); }

  uint16_t Step(uint16_t index, int mode) const {
    const Node& node = nodes_.at(index);
    const std::vector<uint16_t>& siblings =
        node.parent != 0 ? nodes_.at(node.parent).children : Top(node.tree);
    const auto place = std::find(siblings.begin(), siblings.end(), index);
    switch (mode) {
      case RAW_HISTORY_FIRST_CHILD:
        return node.children.empty() ? uint16_t{0} : node.children.front();
      case RAW_HISTORY_FIRST_SIBLING:
        return siblings.front();
      case RAW_HISTORY_NEXT_SIBLING:
        return place + 1 != siblings.end() ? place[1] : uint16_t{0};
      case RAW_HISTORY_LAST_SIBLING:
        return siblings.back();
      case RAW_HISTORY_PREVIOUS_SIBLING:
        return place != siblings.begin() ? place[-1] : uint16_t{0};
      case RAW_HISTORY_PARENT:
        return node.parent;
      default:
        return index;
    }
  }

  void Protect(uint16_t index) { nodes_[index].flags |= RAW_HISTORY_PROTECTED; }
  bool Has(uint16_t index) const { return nodes_.count(index) != 0; }
  bool Has(uint16_t index, int tree) const { return Has(index) && nodes_.at(index).tree == tree; }

  // Every field of header and entries.
  void ExpectSame(const History& history) const {
    EXPECT_EQ(history.header.highest_index, highest_);
    for (int tree = 1; tree <= RAW_HISTORY_TREES; ++tree) {
      const auto place = static_cast<size_t>(tree - 1);
      const auto count = std::count_if(nodes_.begin(), nodes_.end(),
                                       [tree](const auto& n) { return n.second.tree == tree; });
      EXPECT_EQ(history.header.counts[place], count);
      EXPECT_EQ(history.header.roots[place], Top(tree).empty() ? 0 : Top(tree).front());
    }
    for (uint16_t i = 1; i <= RAW_HISTORY_MAX_INDEX; ++i) {
      RawHistoryEntry expected = {};
      if (Has(i)) {
        const Node& node = nodes_.at(i);
        expected = Named(node.name);
        expected.index = i;
        expected.parent = node.parent;
        expected.first_child = Step(i, RAW_HISTORY_FIRST_CHILD);
        expected.previous = Step(i, RAW_HISTORY_PREVIOUS_SIBLING);
        expected.next = Step(i, RAW_HISTORY_NEXT_SIBLING);
        expected.flags = node.flags;
      }
      ASSERT_EQ(std::memcmp(&history.entries[i], &expected, sizeof(expected)), 0) << "entry " << i;
    }
  }

 private:
  struct Node {
    int tree;
    uint16_t parent;
    std::vector<uint16_t> children;
    std::string name;
    uint16_t flags;
  };

  std::vector<uint16_t>& Siblings(int tree, uint16_t parent) {
    return parent != 0 ? nodes_[parent].children : tops_[tree];
  }
  const std::vector<uint16_t>& Top(int tree) const {
    static const std::vector<uint16_t> kNone;
    const auto found = tops_.find(tree);
    return found != tops_.end() ? found->second : kNone;
  }

  uint16_t Search(const std::vector<uint16_t>& siblings, const std::string& name) const {
    const auto matches = [&](uint16_t index) { return nodes_.at(index).name == name; };
    if (!siblings.empty() && matches(siblings.front())) return siblings.front();
    for (const uint16_t index : siblings) {
      const uint16_t below = Search(nodes_.at(index).children, name);
      if (below != 0) return below;
      if (matches(index)) return index;
    }
    return 0;
  }

  std::map<uint16_t, Node> nodes_;
  std::map<int, std::vector<uint16_t>> tops_;
  uint16_t highest_ = 0;
};

TEST(HistoryTreesTest, BehaveAsTheModel) {
  std::mt19937 random(1);
  const auto below = [&](uint32_t limit) { return static_cast<uint16_t>(random() % limit); };
  const std::string names[] = {"a", "A", "bc", std::string(33, 'x'), std::string(32, 'x')};
  for (const uint32_t adds_of_ten : {4U, 6U, 9U}) {
    History history;
    Model model;
    for (int step = 0; step < 600; ++step) {
      const auto tree = static_cast<int16_t>(below(3));  // 0 is tree 31
      const int model_tree = tree == 0 ? 31 : tree;
      const uint16_t index = below(history.header.highest_index + 2U);
      const std::string& name = names[below(std::size(names))];
      if (below(10) < adds_of_ten) {
        const uint16_t added = model.Add(model_tree, index, name);
        EXPECT_EQ(history.Add(tree, index, name), added != 0 ? 0 : RAW_HISTORY_FULL);
        if (added != 0 && below(8) == 0) {
          model.Protect(added);
          history.entries[added].flags |= RAW_HISTORY_PROTECTED;
        }
      } else {
        const bool force = below(4) == 0;
        EXPECT_EQ(history.Delete(tree, index, force ? 1 : 0),
                  model.Delete(model_tree, index, force) ? 1 : 0);
      }
      EXPECT_EQ(history.Search(tree, name), Result(model.Search(model_tree, name)));
      const auto mode = static_cast<int>(below(8));
      if (index != 0) {
        const bool there = model.Has(index, model_tree);
        EXPECT_EQ(history.Get(tree, index, 1, mode), there ? Result(model.Step(index, mode)) : 0);
        if (model.Has(index)) {
          EXPECT_EQ(history.Get(tree, index, 0, mode), Result(model.Step(index, mode)));
        }
      }
      ASSERT_NO_FATAL_FAILURE(model.ExpectSame(history)) << "step " << step;
    }
  }
}

TEST(HistoryTreesTest, Limits) {
  History history;
  for (int i = 0; i < RAW_HISTORY_MAX_INDEX; ++i) ASSERT_EQ(history.Add(2, 1), 0);
  const History before = history;
  RawHistoryEntry entry = Named("one too many");
  EXPECT_EQ(RawHistAddProcess(&history.header, history.entries.data(), 2, 0, &entry), 5001);
  EXPECT_EQ(+entry.index, 0xA5A5);
  EXPECT_EQ(std::memcmp(&history.header, &before.header, sizeof(before.header)), 0);
  EXPECT_EQ(history.Get(2, 0, 0, RAW_HISTORY_FIRST_CHILD), Result(1));
  for (const int mode : {0, 2, 3, 6}) EXPECT_EQ(history.Get(2, 0, 0, mode), 0);
  EXPECT_EQ(history.Get(2, 257, 0, 0), 0);
  EXPECT_EQ(history.Search(2, std::string(34, 'x')), 0);

  // Trees that are rejected, by every export.
  for (const auto& [trees, tree] :
       {std::pair<uint16_t, int16_t>{32, 33}, {32, -1}, {5, 6}, {30, 0}, {60000, 33}, {0, 1}}) {
    History rejecting;
    rejecting.header.tree_count = trees;
    EXPECT_EQ(rejecting.Add(tree, 0), 5001) << tree;
    rejecting.entries[1].index = 1;
    rejecting.header.highest_index = 1;
    EXPECT_EQ(rejecting.Get(tree, 1, 0, 0), 0);
    EXPECT_EQ(rejecting.Delete(tree, 1), 0);
    EXPECT_EQ(rejecting.Search(tree, ""), 0);
  }
}

TEST(HistoryTreesTest, DeletingLeavesNoLinkToAFreeEntry) {
  // Entry 2 stands after 1, but says that it is the first, and 3 claims it as its child.
  History history;
  for (int i = 0; i < 3; ++i) ASSERT_EQ(history.Add(1, 0), 0);
  history.entries[2].previous = 0;
  history.entries[3].first_child = 2;
  EXPECT_EQ(history.Delete(1, 2), 1);
  EXPECT_EQ(history.Get(1, 1, 1, RAW_HISTORY_NEXT_SIBLING), Result(3));
  EXPECT_EQ(history.header.roots[0], 1);
}

// --- the file

class HistoryFileTest : public RawTest {
 protected:
  HistoryFileTest() {
    MakeRun({}, {});
    EXPECT_EQ(RawReadOpen(Path().c_str(), &handle_), RAW_OK);
  }

  int32_t Read() { return RawReadProcInfo(handle_, &read_.header, read_.entries.data()); }

  History Sample() {
    History history;
    history.Add(1, 0, "first");
    history.Add(1, 1, "second");
    history.Add(7, 0, std::string(33, 'n'));
    history.entries[2].process.created = 0x01020304;
    return history;
  }

  History read_;
};

TEST_F(HistoryFileTest, BytesAndRoundTrip) {
  const History history = Sample();
  ASSERT_EQ(RawHistUpdateInfo(handle_, &history.header, history.entries.data()), RAW_OK);
  const Bytes file = ReadFile(Path("_HISTORY.INF"));
  ASSERT_EQ(file.size(), 132U + 4 * 123);
  const auto word = [&](size_t at) { return file[at] + 256 * file[at + 1]; };
  EXPECT_THAT((std::vector<int>{word(0), word(2), word(4), word(4 + 12), word(68), word(68 + 12)}),
              ElementsAre(32, 3, 1, 3, 2, 1));
  const size_t second = 132 + 2 * 123;
  EXPECT_THAT((std::vector<int>{word(second), word(second + 2), word(second + 4), word(second + 6),
                                word(second + 8), word(second + 10), word(second + 20)}),
              ElementsAre(2, 1, 0, 0, 0, 0, 0xA5A5));
  EXPECT_STREQ(reinterpret_cast<const char*>(file.data() + second + 22), "second");
  EXPECT_EQ(word(second + 55), 0x0304);
  EXPECT_EQ(file[second + 122], 0xA5);

  ASSERT_EQ(Read(), RAW_OK);
  EXPECT_EQ(std::memcmp(&read_.header, &history.header, 132), 0);
  EXPECT_EQ(std::memcmp(read_.entries.data(), history.entries.data(), 4 * 123), 0);

  // Without entries only the header goes either way.
  EXPECT_EQ(RawReadProcInfo(handle_, &read_.header, nullptr), RAW_OK);
  ASSERT_EQ(RawHistUpdateInfo(handle_, &history.header, nullptr), RAW_OK);
  EXPECT_EQ(ReadFile(Path("_HISTORY.INF")), Bytes(file.begin(), file.begin() + 132));
  EXPECT_EQ(RawHistUpdateInfo(handle_, nullptr, nullptr), RAW_OK);
  EXPECT_EQ(RawReadProcInfo(-1, nullptr, nullptr), RAW_OK);
  EXPECT_EQ(RawReadProcInfo(-1, &read_.header, nullptr), RAW_HANDLE_OUT_OF_RANGE);
}

TEST_F(HistoryFileTest, WithoutAFileTheHistoryIsEmpty) {
  for (RawHistoryEntry* entries : {static_cast<RawHistoryEntry*>(nullptr), read_.entries.data()}) {
    RawHistoryHeader header;
    std::memset(&header, 0xFF, sizeof(header));
    EXPECT_EQ(RawReadProcInfo(handle_, &header, entries),
              entries == nullptr ? RAW_OK : RAW_MEMBER_NOT_OPEN);
    const History empty;
    EXPECT_EQ(std::memcmp(&header, &empty.header, sizeof(header)), 0);
  }
}

TEST_F(HistoryFileTest, ACutFileGivesItsWholeEntries) {
  const History history = Sample();
  ASSERT_EQ(RawHistUpdateInfo(handle_, &history.header, history.entries.data()), RAW_OK);
  const Bytes file = ReadFile(Path("_HISTORY.INF"));
  for (size_t size = 0; size < file.size(); ++size) {
    WriteFile(Path("_HISTORY.INF"),
              Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
    ASSERT_EQ(Read(), 2003) << size;
    const size_t whole = size < 132 ? 0 : (size - 132) / 123;
    EXPECT_EQ(read_.header.highest_index, size < 132 ? 0 : 3);
    EXPECT_EQ(std::memcmp(read_.entries.data(), history.entries.data(), whole * 123), 0);
    if (size >= 132) {
      EXPECT_EQ(+read_.entries[whole].index, 0);
    }
  }
}

TEST_F(HistoryFileTest, AHighestIndexBeyondTheLimitTouchesNothingBehindIt) {
  History history = Sample();
  history.header.highest_index = 60000;
  ASSERT_EQ(RawHistUpdateInfo(handle_, &history.header, history.entries.data()), RAW_OK);
  EXPECT_EQ(ReadFile(Path("_HISTORY.INF")).size(), 132U + 257 * 123);
  EXPECT_EQ(Read(), RAW_OK);
  EXPECT_EQ(read_.Search(7, std::string(33, 'n')), Result(3));
}

// --- descriptions

class HistoryDescriptionTest : public ::testing::Test {
 protected:
  HistoryDescriptionTest() { SetEnvironment("TZ", "TST-05:30"); }
  ~HistoryDescriptionTest() override { SetEnvironment("TZ", ""); }

  static std::string Describe(const RawHistoryProcess& process, uint16_t flags,
                              int32_t capacity = 200) {
    std::string text(static_cast<size_t>(capacity) + 1, '#');
    EXPECT_EQ(RawHistDescription(&process, flags, text.data(), capacity), 1);
    EXPECT_EQ(text.back(), '#') << "wrote behind the buffer";
    return text.substr(0, text.find('\0'));
  }
};

struct Parameter {
  Parameter(int value) { std::memcpy(bytes, &value, 4); }  // NOLINT(google-explicit-constructor)
  Parameter(double value) {                                // NOLINT(google-explicit-constructor)
    const auto rounded = static_cast<float>(value);
    std::memcpy(bytes, &rounded, 4);
  }
  uint8_t bytes[4];
};

RawHistoryProcess Step(uint16_t type, const std::vector<Parameter>& parameters,
                       const std::string& text = "") {
  RawHistoryProcess process = {};
  process.type = type;
  for (size_t i = 0; i < parameters.size(); ++i) {
    std::memcpy(process.parameters + 4 * i, parameters[i].bytes, 4);
  }
  text.copy(reinterpret_cast<char*>(process.parameters), 48);
  return process;
}

TEST_F(HistoryDescriptionTest, OfEveryType) {
  const std::vector<Parameter> maxent = {-118, 12, 0, 0.75, 10000, 20000, 0.5, 33, 40};
  const std::string maxent_text = " [Ev-118,It12] (Gauss,0.75,10000:20000,0.5,L33,R40)";
  std::vector<Parameter> model(13, Parameter(0));
  model[12] = Parameter(0.25);
  const std::pair<RawHistoryProcess, std::string> cases[] = {
      {Step(0, {}), "None"},
      {Step(1, {5, 1000.0}), "Refine (5,1000)"},
      {Step(1, {}), "Refine"},
      {Step(2, {10, 20}), "Combine (10:20)"},
      {Step(2, {10, 20, 2, 5, 0, 0, 1.5}), "Combine (10:20-(2:5)x1.5)"},
      {Step(2, {10, 20, 2, 5, 30, 35, 1.0}), "Combine (10:20-(2:5+30:35)x1)"},
      {Step(2, {10, 20, 2, 5, 0, 0, 0.5, 1, 0, 0, 25, 27, 0, 0, 40, 41}),
       "Combine (10:20+25:27+40:41-(2:5)x0.5)"},
      {Step(3, {1, 2, 3}), "Smooth (SG,2x3)"},
      {Step(3, {9, 2, 3}), "Smooth (9,2x3)"},
      {Step(4, {1}), "Center"},
      {Step(5, {1}), "Peak top"},
      {Step(7, {500, 2000, 0.1, 12.0}), "Transform (500:2000,0.1,12)"},
      {Step(10, {}), "Full file filter"},
      {Step(11, maxent), "MaxEnt 1" + maxent_text},
      {Step(13, maxent), "MockData" + maxent_text},
      {Step(12, {15, 10.0, 0.01}), "Subtract (15,10,0.01)"},
      {Step(14, {7, 3, 0.6, 500, 900}), "MaxEnt 2 [Ev7,It3] (0.6,500:900)"},
      {Step(15, {7, 3, 1e30, -1, -2}),
       "MockData [Ev7,It3] (1000000015047466219876688855040,-1:-2)"},
      {Step(16, {}, "C6H12O6"), "Isotope (C6H12O6)"},
      {Step(17, model, std::string(48, 'C')), "Continuum (" + std::string(48, 'C') + ",0.25)"},
      {Step(18, {7, 3}), "MaxEnt 3 [Ev7,It3]"},
      {Step(19, {7, 3, 5}), "MockData [Ev7,It3,En5]"},
      {Step(20, {556.25, 0.125}), "Accurate Mass 556.2,0.12"},
      {Step(21, {1}), "Combine"},
      {Step(22, {1}), "Unknown"},
      {Step(65535, {1}), "Unknown"},
  };
  for (const auto& [process, text] : cases) EXPECT_EQ(Describe(process, 4), text);
  EXPECT_EQ(Describe(Step(1, {5, NAN}), 0), "(5,nan)");
  EXPECT_EQ(Describe(Step(6, {}), 0), "");
}

TEST_F(HistoryDescriptionTest, LocalTimeAndCapacity) {
  RawHistoryProcess process = Step(12, {15, 10.0, 0.01});
  process.created = 1748836799;  // 2 June 2025, 03:59:59 universal time
  EXPECT_EQ(Describe(process, RAW_DESCRIBE_FULL), "Subtract (15,10,0.01) 02-Jun-25 09:29");
  EXPECT_EQ(Describe(process, 16), "(15,10,0.01) 02-Jun-25");
  EXPECT_EQ(Describe(process, 32 | 4), "Subtract (15,10,0.01) 09:29");
  const std::string full = Describe(process, RAW_DESCRIBE_FULL);
  for (int32_t capacity = 1; capacity < 45; ++capacity) {
    EXPECT_EQ(Describe(process, RAW_DESCRIBE_FULL, capacity),
              full.substr(0, static_cast<size_t>(capacity) - 1));
  }
  char text[1] = {'#'};
  EXPECT_EQ(RawHistDescription(&process, 4, text, 0), 0);
  EXPECT_EQ(text[0], '#');
  process.created = 0xFFFFFFFF;
  EXPECT_EQ(Describe(process, 48), "(15,10,0.01) 07-Feb-06 11:58");
}

}  // namespace
}  // namespace tervalon::testing
