#include "text/near_name.h"

#include <algorithm>
#include <numeric>

#include "client/ascii.h"

namespace {

// How many letters have to be inserted, removed or replaced to turn one name into the other.
std::size_t Distance(std::string_view one, std::string_view other)
{
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char letter : one) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < other.size(); ++j) {
            const bool is_same = LowerInAscii(letter) == LowerInAscii(other[j]);
            const std::size_t replaced = diagonal + (is_same ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string_view NearName(std::string_view typed, const std::vector<std::string_view>& names)
{
    std::string_view nearest;
    std::size_t least = typed.size() / 3 + 1;
    for (const std::string_view name : names) {
        if (const auto distance = Distance(typed, name); distance < least) {
            least = distance;
            nearest = name;
        }
    }
    return nearest;
}
