#pragma once

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "mapping/RowMap.h"
#include "repair/TrackAnchors.h"

namespace tessiva::testing {

// A Logic track list as Logic keeps it: every track in order, Track Stacks as a header followed by
// its members, collapsed members hidden but still numbered. Generated from a seed, edited the way
// a user edits in Logic, and captured as the visible row map the observer would publish.
class GeneratedTrackList {
  public:
    enum class Edit { insert, remove, duplicate, moveBlock, swapRows, toggleStack, rename, count };
    static constexpr int kEditCount = static_cast<int>(Edit::count);
    static const char* editName(Edit edit) {
        static constexpr std::array<const char*, kEditCount> names{
            "insert",    "delete",          "duplicate", "move block",
            "swap rows", "collapse/expand", "rename"};
        return names[static_cast<std::size_t>(edit)];
    }

    struct Track {
        int id = 0;
        std::string name;
        int stackHeader = -1;  // id of the header for a member, -1 otherwise
        bool isHeader = false;
        bool collapsed = false;
    };

    GeneratedTrackList(std::mt19937& random, int trackCount) : random_(random) {
        std::uniform_real_distribution<double> chance(0, 1);
        while (static_cast<int>(tracks_.size()) < trackCount) {
            const int room = trackCount - static_cast<int>(tracks_.size());
            if (room >= 3 && chance(random_) < 0.06) {
                Track header{nextId_++, freshName(), -1, true, chance(random_) < 0.5};
                tracks_.push_back(header);
                const int members = std::min(room - 1, 1 + static_cast<int>(random_() % 6));
                for (int i = 0; i < members; ++i)
                    tracks_.push_back({nextId_++, nameLike(freshName()), header.id, false, false});
                continue;
            }
            tracks_.push_back({nextId_++, nameLike(freshName()), -1, false, false});
        }
    }

    // Rows shown by Logic: row -> name exactly as shown.
    RowMap capture() const {
        RowMap rows;
        for (const std::size_t p : visiblePositions())
            rows.emplace(static_cast<int>(p) + 1, tracks_[p].name);
        return rows;
    }
    // Row of a track by id; 0 when it no longer exists.
    int rowOf(int id) const {
        const auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                        [&](const Track& track) { return track.id == id; });
        return found == tracks_.end() ? 0 : static_cast<int>(found - tracks_.begin()) + 1;
    }
    const std::vector<Track>& tracks() const { return tracks_; }
    // Whether `id`'s normalised name is non-empty and carried by no other track.
    bool hasUniqueName(int id) const {
        const int row = rowOf(id);
        if (row == 0)
            return false;
        const std::string name =
            repair::normalizedTrackName(tracks_[static_cast<std::size_t>(row - 1)].name);
        return !name.empty() && std::count_if(tracks_.begin(), tracks_.end(), [&](const Track& t) {
                                    return repair::normalizedTrackName(t.name) == name;
                                }) == 1;
    }

    // Applies one random edit of the kind; false when the list offers no place for it.
    bool apply(Edit edit) {
        // In the order of `Edit`.
        static constexpr std::array<bool (GeneratedTrackList::*)(), kEditCount> edits{
            &GeneratedTrackList::insertTracks,   &GeneratedTrackList::removeTracks,
            &GeneratedTrackList::duplicateTrack, &GeneratedTrackList::moveBlock,
            &GeneratedTrackList::swapRows,       &GeneratedTrackList::toggleStack,
            &GeneratedTrackList::renameTrack};
        lastSelected_ = 0;
        return (this->*edits[static_cast<std::size_t>(edit)])();
    }
    // The track Logic selects after the last edit, if it selects one.
    int lastSelectedId() const { return lastSelected_; }

  private:
    static constexpr const char* kNoBreakSpace = "\u00A0";

    std::string freshName() {
        static constexpr std::array<const char*, 14> kBaseNames{
            "Violins", "Violas", "Cellos", "Basses", "Horns", "Trumpets", "Piano",
            "Harp",    "Choir",  "Synth",  "Pad",    "Drums", "Audio",    "Inst"};
        return std::string(kBaseNames[random_() % kBaseNames.size()]) + " " +
               std::to_string(nextName_++);
    }
    // Mostly `base`; sometimes a repeat of an existing name, a blank, or padding Logic shows as is.
    std::string nameLike(const std::string& base) {
        const unsigned roll = random_() % 100;
        if (roll < 8 && !tracks_.empty())
            return tracks_[random_() % tracks_.size()].name;
        if (roll < 11)
            return roll % 2 == 0 ? "" : " ";
        if (roll < 13)
            return kNoBreakSpace + base + " ";
        std::string spaced = base;
        if (const auto space = spaced.find(' '); roll < 15 && space != std::string::npos)
            spaced.replace(space, 1, kNoBreakSpace);
        return spaced;
    }
    std::vector<std::size_t> visiblePositions() const {
        bool hiding = false;  // inside a collapsed stack
        return positions([&](const Track& track) {
            if (track.stackHeader < 0)
                hiding = track.isHeader && track.collapsed;
            return track.stackHeader < 0 || !hiding;
        });
    }
    // One past the last member of the stack headed at `position` (or position + 1).
    std::size_t unitEnd(std::size_t position) const {
        std::size_t end = position + 1;
        while (tracks_[position].isHeader && end < tracks_.size() &&
               tracks_[end].stackHeader == tracks_[position].id)
            ++end;
        return end;
    }
    template <typename Keep>
    std::vector<std::size_t> positions(Keep keep) const {
        std::vector<std::size_t> kept;
        for (std::size_t p = 0; p < tracks_.size(); ++p) {
            if (keep(tracks_[p]))
                kept.push_back(p);
        }
        return kept;
    }
    std::vector<std::size_t> topLevelStarts() const {
        return positions([](const Track& track) { return track.stackHeader < 0; });
    }
    void insertBlock(std::size_t at, const std::vector<Track>& block) {
        tracks_.insert(tracks_.begin() + static_cast<long>(at), block.begin(), block.end());
    }

    bool insertTracks() {
        const auto shown = visiblePositions();
        const int count = random_() % 10 == 0 ? 2 + static_cast<int>(random_() % 8)
                                              : 1 + static_cast<int>(random_() % 3);
        std::size_t at = 0;
        int stack = -1;
        if (random_() % 12 != 0) {  // after a selected track; otherwise at the top
            const std::size_t after = shown[random_() % shown.size()];
            const Track& anchor = tracks_[after];
            at = anchor.isHeader && anchor.collapsed ? unitEnd(after) : after + 1;
            if (anchor.isHeader && !anchor.collapsed)
                stack = anchor.id;
            else if (anchor.stackHeader >= 0)
                stack = anchor.stackHeader;
        }
        lastSelected_ = nextId_;  // the first track inserted
        for (int i = 0; i < count; ++i)
            tracks_.insert(tracks_.begin() + static_cast<long>(at) + i,
                           {nextId_++, nameLike(freshName()), stack, false, false});
        return true;
    }
    bool removeTracks() {
        const auto shown = visiblePositions();
        if (shown.size() < 3)
            return false;
        const std::size_t count = 1 + random_() % std::min<std::size_t>(4, shown.size() - 1);
        const std::size_t first = random_() % (shown.size() - count + 1);
        const std::size_t from = shown[first];
        std::size_t to = unitEnd(shown[first + count - 1]);
        for (std::size_t i = first; i < first + count; ++i)
            to = std::max(to, unitEnd(shown[i]));
        if (to - from >= tracks_.size())
            return false;
        tracks_.erase(tracks_.begin() + static_cast<long>(from),
                      tracks_.begin() + static_cast<long>(to));
        // Members whose header went with the block become top-level tracks.
        for (Track& track : tracks_) {
            if (track.stackHeader >= 0 && rowOf(track.stackHeader) == 0)
                track.stackHeader = -1;
        }
        // Logic selects the first visible track after the cut.
        const auto after = visiblePositions();
        const auto next = std::lower_bound(after.begin(), after.end(), from);
        if (next != after.end())
            lastSelected_ = tracks_[*next].id;
        return true;
    }
    bool duplicateTrack() {
        const auto shown = visiblePositions();
        const std::size_t source = shown[random_() % shown.size()];
        const std::size_t end = unitEnd(source);
        std::vector<Track> copy(tracks_.begin() + static_cast<long>(source),
                                tracks_.begin() + static_cast<long>(end));
        // A stack's copied header heads the copies of its members.
        copy.front().id = nextId_++;
        for (std::size_t i = 1; i < copy.size(); ++i) {
            copy[i].id = nextId_++;
            copy[i].stackHeader = copy.front().id;
        }
        lastSelected_ = copy.front().id;
        insertBlock(end, copy);
        return true;
    }
    bool moveBlock() {
        const auto starts = topLevelStarts();
        if (starts.size() < 3)
            return false;
        const std::size_t units = 1 + random_() % std::min<std::size_t>(3, starts.size() - 1);
        const std::size_t first = random_() % (starts.size() - units + 1);
        const std::size_t from = starts[first];
        const std::size_t to = unitEnd(starts[first + units - 1]);
        std::vector<Track> block(tracks_.begin() + static_cast<long>(from),
                                 tracks_.begin() + static_cast<long>(to));
        tracks_.erase(tracks_.begin() + static_cast<long>(from),
                      tracks_.begin() + static_cast<long>(to));
        std::vector<std::size_t> places = topLevelStarts();
        places.push_back(tracks_.size());
        std::erase(places, from);  // elsewhere than where it was; another unit is always left
        insertBlock(places[random_() % places.size()], block);
        lastSelected_ = block.front().id;
        return true;
    }
    bool swapRows() {
        const auto plain =
            positions([](const Track& track) { return track.stackHeader < 0 && !track.isHeader; });
        if (plain.size() < 2)
            return false;
        const std::size_t a = random_() % plain.size();
        std::size_t b = random_() % plain.size();
        if (a == b)
            b = (a + 1) % plain.size();
        std::swap(tracks_[plain[a]], tracks_[plain[b]]);
        lastSelected_ = tracks_[plain[a]].id;
        return true;
    }
    bool toggleStack() {
        // Headers are top-level tracks, always shown.
        const auto headers = positions([](const Track& track) { return track.isHeader; });
        if (headers.empty())
            return false;
        Track& header = tracks_[headers[random_() % headers.size()]];
        header.collapsed = !header.collapsed;
        lastSelected_ = header.id;
        return true;
    }
    bool renameTrack() {
        const auto shown = visiblePositions();
        Track& track = tracks_[shown[random_() % shown.size()]];
        const unsigned roll = random_() % 10;
        if (roll < 6)
            track.name = freshName();
        else if (roll < 8)
            track.name = kNoBreakSpace + track.name + "\n";
        else if (roll < 9)
            track.name = "";
        else
            track.name = tracks_[random_() % tracks_.size()].name;
        lastSelected_ = track.id;
        return true;
    }

    std::mt19937& random_;
    std::vector<Track> tracks_;
    int nextId_ = 1;
    int nextName_ = 1;
    int lastSelected_ = 0;
};

}  // namespace tessiva::testing
