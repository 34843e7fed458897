// Values that differ by robot type, held as data: a table is a list of bands of type codes, searched from the
// top, and a fallback for every code without a row. A variant inside a band therefore stands above its band.
#pragma once

namespace tarn {

template <typename Value>
struct TypeRow {
    int first, last;  // type codes, both ends included
    Value value;
};

template <typename Value, int N>
constexpr const Value& byType(const TypeRow<Value> (&rows)[N], const Value& fallback, int robotType) {
    for (const TypeRow<Value>& row : rows)
        if (row.first <= robotType && robotType <= row.last) return row.value;
    return fallback;
}

}  // namespace tarn
