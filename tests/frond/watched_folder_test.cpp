// When the files of a watched folder are taken, in tables of what happens to them.
#include "frond/watched_folder.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace {

using namespace frond;

struct Step {
    std::int64_t now;  // ms
    std::string what;  // "sees", "closes", "loses", "looks", "lists", "damaged" or "untried"
    std::string name;
    std::uint64_t size;  // of the file from now on; 0: unchanged
    std::string taken;   // the names that are ready then; or what a damaged file is
};

struct Story {
    const char* about;
    std::vector<Step> steps;
};

const Story kStories[] = {
    {"without events a file is complete when it has settled",
     {{0, "sees", "a", 1, ""},
      {900, "looks", "", 0, ""},
      {950, "sees", "a", 2, ""},
      {1949, "looks", "", 0, ""},
      {1950, "looks", "", 0, "a"},
      {9000, "closes", "a", 0, ""},
      {9000, "looks", "", 0, ""}}},
    {"a closed file is complete at once, unless it changes before it is taken",
     {{0, "sees", "a", 1, ""}, {10, "closes", "a", 2, "a"}, {20, "closes", "b", 1, "b"}}},
    {"a changed file is keyed again, and one that returns",
     {{0, "closes", "a", 1, "a"},
      {5, "closes", "a", 0, ""},
      {9, "sees", "a", 2, ""},
      {10, "closes", "a", 0, "a"},
      {20, "loses", "a", 0, ""},
      {30, "closes", "a", 0, "a"}}},
    {"a damaged file is tried again when it has changed or has become old, and reported then",
     {{0, "closes", "a", 1, "a"},
      {9999, "damaged", "a", 0, "later"},
      {9999, "looks", "", 0, ""},
      {10000, "looks", "", 0, "a"},
      {10000, "damaged", "a", 0, "a failure"},
      {30000, "looks", "", 0, ""},
      {30000, "closes", "a", 2, "a"},
      {30001, "damaged", "a", 0, "later"},
      {30002, "closes", "a", 3, "a"}}},
    {"the oldest of the start first, after those that arrive",
     {{0, "sees", "late", 3, ""},
      {0, "lists", "early", 1, ""},
      {10, "sees", "new", 9, ""},
      {1000, "looks", "", 0, "early late"},
      {1000, "untried", "late", 0, ""},
      {1010, "looks", "", 0, "new late"},
      {1020, "untried", "late", 0, ""},
      {1020, "sees", "late", 4, ""},
      {1020, "closes", "newer", 1, "newer"}}},
};

// Plays the steps. A file's size is also its time.
void Play(const std::vector<Step>& steps) {
    WatchedFolder folder;
    std::map<std::filesystem::path, std::uint64_t> sizes;
    const auto look = [&](const std::filesystem::path& name) -> FolderFile {
        return {name, {sizes[name], static_cast<std::int64_t>(sizes[name])}};
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(std::to_string(step.now) + " " + step.what + " " + step.name);
        if (step.size != 0) sizes[step.name] = step.size;
        if (step.what == "damaged") {
            EXPECT_EQ(PostponePhotograph(folder, step.name, step.now), step.taken == "later");
            continue;
        }
        if (step.what == "untried") {
            RequeuePhotograph(folder, step.name);
            continue;
        }
        if (step.what == "loses") {
            ForgetFile(folder, step.name);
        } else if (step.what == "lists") {
            std::vector<FolderFile> listing;
            for (const auto& [name, size] : sizes) listing.push_back(look(name));
            folder = {};
            NoteListing(folder, listing, step.now);
        } else if (step.what == "looks") {
            for (const auto& name : FilesToLookAt(folder, step.now))
                NoteFile(folder, look(name), false, step.now);
            EXPECT_GT(NextLook(folder), step.now);
        } else {
            NoteFile(folder, look(step.name), step.what == "closes", step.now);
        }
        std::string taken;
        for (const auto& name : TakePhotographs(folder, 9))
            taken += (taken.empty() ? "" : " ") + name.u8string();
        EXPECT_EQ(taken, step.taken);
    }
}

TEST(WatchedFolder, TakesFilesThatAreComplete) {
    for (const Story& story : kStories) {
        SCOPED_TRACE(story.about);
        Play(story.steps);
    }
}

TEST(WatchedFolder, ForgetsWhatIsNotListedAndTakesNoMoreThanAsked) {
    WatchedFolder folder;
    NoteListing(folder, {{"b", {1, 2}}, {"c", {1, 3}}, {"a", {1, 1}}, {"d", {1, 0}}}, 0);
    NoteListing(folder, {{"c", {1, 3}}, {"a", {1, 1}}}, kSettleMs);
    EXPECT_EQ(folder.files.size(), 2U);
    EXPECT_EQ(TakePhotographs(folder, 1), std::vector<std::filesystem::path>{"a"});
    EXPECT_EQ(CountFiles(folder, FileState::kReady), 1U);
}

TEST(WatchedFolder, KnowsTheNamesOfPhotographs) {
    for (const char* name : {"a.JPG", "-b c.tiff", "\xC3\xA4.PsD", "a.part.png"})
        EXPECT_TRUE(IsPhotographName(name, false)) << name;
    for (const char* name : {".a.jpg", "a.jpg.part", "a.jpg~", "a.crdownload", "jpg", "a.bmp"})
        EXPECT_FALSE(IsPhotographName(name, false)) << name;
    EXPECT_TRUE(IsPhotographName("a.bmp", true));
}

}  // namespace
