#pragma once

#include <random>
#include <set>
#include <string>
#include <vector>

#include "mapping/RowMap.h"

namespace tessiva::testing {

// A Logic track list as Logic keeps it: every track in order, Track Stacks as a header followed by
// its members, collapsed members hidden but still numbered. Generated from a seed, edited the way
// a user edits in Logic, and captured as the visible row map the observer would publish.
class GeneratedTrackList {
  public:
    enum class Edit { insert, remove, duplicate, moveBlock, swapRows, toggleStack, rename, count };
    static constexpr int kEditCount = static_cast<int>(Edit::count);
    static const char* editName(Edit edit);

    struct Track {
        int id = 0;
        std::string name;
        int stackHeader = -1;  // id of the header for a member, -1 otherwise
        bool isHeader = false;
        bool collapsed = false;
    };

    GeneratedTrackList(std::mt19937& random, int trackCount);

    // Rows shown by Logic: row -> name exactly as shown.
    RowMap capture() const;
    // Row of a track by id; 0 when it no longer exists.
    int rowOf(int id) const;
    const std::vector<Track>& tracks() const { return tracks_; }
    // Whether `id`'s normalised name is non-empty and carried by no other track.
    bool hasUniqueName(int id) const;

    // Applies one random edit of the kind; false when the list offers no place for it.
    bool apply(Edit edit);
    // The row and name of the track Logic selects after the last edit, if it selects one.
    int lastSelectedId() const { return lastSelected_; }

  private:
    std::string freshName();
    std::string nameLike(const std::string& base);
    std::vector<std::size_t> visiblePositions() const;
    // One past the last member of the stack headed at `position` (or position + 1).
    std::size_t unitEnd(std::size_t position) const;
    std::vector<std::size_t> topLevelStarts() const;

    bool insertTracks();
    bool removeTracks();
    bool duplicateTrack();
    bool moveBlock();
    bool swapRows();
    bool toggleStack();
    bool renameTrack();

    std::mt19937& random_;
    std::vector<Track> tracks_;
    int nextId_ = 1;
    int nextName_ = 1;
    int lastSelected_ = 0;
};

}  // namespace tessiva::testing
