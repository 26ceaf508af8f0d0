#include "ctl/edit_distance.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

// One row of the table of all beginnings of a against all beginnings of b at a time.
size_t EditDistance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t nDiagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t nReplaced = nDiagonal + (a[i] == b[j] ? 0 : 1);
            nDiagonal = row[j + 1];
            row[j + 1] = std::min({nReplaced, nDiagonal + 1, row[j] + 1});
        }
    }
    return row[b.size()];
}
