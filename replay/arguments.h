// Arguments and results of a call as bytes, by its function's type and the number of elements of each
// pointer.
#pragma once

#include <sys/time.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <vector>

#include "replay/recording.h"

namespace tarn::replay {

template <typename T>
using Element = std::remove_const_t<std::remove_pointer_t<T>>;

// void*: passed as null by all, and of no use to a replay
template <typename T>
constexpr bool isArray = std::is_pointer_v<T> && !std::is_void_v<Element<T>>;

inline void append(Bytes& to, const void* start, std::size_t size) {
    const auto* first = static_cast<const unsigned char*>(start);
    to.insert(to.end(), first, first + size);
}

template <typename T>
void pack(Bytes& to, const T& value, const int*& elements) {
    if constexpr (isArray<T>) {
        const auto count = static_cast<std::size_t>(*elements++);
        to.push_back(value != nullptr ? 1 : 0);
        if (value != nullptr) append(to, value, count * sizeof *value);
    } else if constexpr (!std::is_pointer_v<T>) {
        append(to, &value, sizeof value);
    }
}

// Arrays that the callee may have written.
template <typename T>
void packWritten(Bytes& to, const T& value, const int*& elements) {
    if constexpr (isArray<T>) {
        const auto count = static_cast<std::size_t>(*elements++);
        if constexpr (!std::is_const_v<std::remove_pointer_t<T>>) {
            if (value != nullptr) append(to, value, count * sizeof *value);
        }
    }
}

// Packed arguments of a call, and the memory that its arrays are in.
class Arguments {
  public:
    Arguments(const Bytes& bytes, const int* elements) : bytes_(bytes), elements_(elements) {}

    template <typename T>
    T next() {
        if constexpr (isArray<T>) {
            const auto count = static_cast<std::size_t>(*elements_++);
            unsigned char there = 0;
            take(&there, 1);
            if (there == 0) return nullptr;
            // doubles, for the alignment of all
            constexpr std::size_t kUnit = sizeof(double);
            const std::size_t size = count * sizeof(Element<T>);
            memory_.push_back(std::make_unique<double[]>((size + kUnit - 1) / kUnit));
            take(memory_.back().get(), size);
            return reinterpret_cast<T>(memory_.back().get());
        } else if constexpr (std::is_pointer_v<T>) {
            return nullptr;
        } else {
            T value;
            take(&value, sizeof value);
            return value;
        }
    }

  private:
    void take(void* to, std::size_t size) {
        if (bytes_.size() - at_ < size) throw std::runtime_error("a call has too few arguments");
        std::memcpy(to, bytes_.data() + at_, size);
        at_ += size;
    }

    const Bytes& bytes_;
    std::size_t at_ = 0;
    const int* elements_;
    std::vector<std::unique_ptr<double[]>> memory_;
};

// Result of a call made with unpacked arguments, and the arrays it may have written.
template <typename Result, typename... A>
Bytes callWith(Result (*function)(A...), const Bytes& bytes, const int* elements) {
    Arguments in(bytes, elements);
    std::tuple<A...> all{in.next<A>()...};  // braces: from left to right
    Bytes results;
    if constexpr (std::is_void_v<Result>) {
        std::apply(function, all);
    } else {
        const Result result = std::apply(function, all);
        append(results, &result, sizeof result);
    }
    std::apply([&](const A&... argument) { (packWritten(results, argument, elements), ...); }, all);
    return results;
}

}  // namespace tarn::replay
