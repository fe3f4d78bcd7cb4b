#pragma once

#include <map>
#include <string>

namespace tessiva {

// Logic track number -> track name. The form of every track-list capture and of the names kept in
// the mapping store. Rows need not be contiguous: tracks folded inside a Track Stack are absent.
using RowMap = std::map<int, std::string>;

// A value per Logic row, for the store's other row-keyed maps.
template <typename Value>
using RowKeyed = std::map<int, Value>;

}  // namespace tessiva
