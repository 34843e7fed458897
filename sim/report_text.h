// How the parts of the page write: into one growing buffer.
#pragma once

#include <fmt/format.h>

#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace tarn::sim {

// U+2713 and U+2717: the verdict also where colors do not show
inline constexpr const char* kPassSign = "\u2713";
inline constexpr const char* kFailSign = "\u2717";

using Text = fmt::memory_buffer;

template <typename... Args>
void put(Text& text, fmt::format_string<Args...> format, Args&&... args) {
    fmt::format_to(std::back_inserter(text), format, std::forward<Args>(args)...);
}

inline std::string escaped(std::string_view raw) {
    std::string text;
    for (const char c : raw) {
        switch (c) {
            case '&':
                text += "&amp;";
                break;
            case '<':
                text += "&lt;";
                break;
            case '>':
                text += "&gt;";
                break;
            case '"':
                text += "&quot;";
                break;
            // of the control characters a page may hold only these
            default:
                text += static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t' ? '?' : c;
        }
    }
    return text;
}

}  // namespace tarn::sim
