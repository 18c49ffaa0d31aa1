#include "workbench/record/Rows.h"

#include <array>
#include <iterator>

namespace record {
namespace {

/// Of so many pieces is a statement made. Few sizes, as each one is prepared and kept.
constexpr std::array<std::size_t, 3> kAtOnce{64, 8, 1};

/// "(?1, ?2), (?3, ?4)" for two rows of two columns.
std::string places(std::size_t rows, std::size_t columns) {
    std::string text;
    for (std::size_t at = 0; at < rows * columns; ++at) {
        text += at % columns == 0 ? (at == 0 ? "(" : ", (") : ", ";
        text += '?' + std::to_string(at + 1) + (at % columns + 1 == columns ? ")" : "");
    }
    return text;
}

/// Calls `step` with how many pieces it is to take and where they begin, until all are taken.
void inPieces(std::size_t count, const std::function<void(std::size_t first, std::size_t size)>& step) {
    std::size_t done = 0;
    for (const std::size_t size : kAtOnce) {
        for (; count - done >= size; done += size) {
            step(done, size);
        }
    }
}

void append(std::vector<Row>& all, std::vector<Row> more) {
    all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

} // namespace

std::vector<Row> insertRows(Database& database, const std::string& into, std::span<const Row> rows,
                            const std::string& behind) {
    std::vector<Row> all;
    inPieces(rows.size(), [&](std::size_t first, std::size_t size) {
        Row parameters;
        for (const Row& row : rows.subspan(first, size)) {
            parameters.insert(parameters.end(), row.begin(), row.end());
        }
        append(all, database.run(into + " " + places(size, rows[first].size()) + " " + behind, parameters));
    });
    return all;
}

std::vector<Row> selectIn(Database& database, const std::string& select, std::span<const Value> values,
                          const std::string& behind) {
    std::vector<Row> all;
    inPieces(values.size(), [&](std::size_t first, std::size_t size) {
        append(all, database.run(select + " " + places(1, size) + " " + behind, values.subspan(first, size)));
    });
    return all;
}

} // namespace record
