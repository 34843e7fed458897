#include "sim/json.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>

namespace tarn::sim {
namespace {

constexpr int kDeepest = 16;

class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    bool document(Json& json) { return value(json, 0) && (space(), at_ == text_.size()); }

  private:
    void space() {
        while (at_ < text_.size() && (text_[at_] == ' ' || ('\t' <= text_[at_] && text_[at_] <= '\r'))) at_++;
    }
    bool take(std::string_view word) {
        space();
        if (text_.substr(at_, word.size()) != word) return false;
        at_ += word.size();
        return true;
    }

    bool value(Json& json, int depth) {
        if (depth > kDeepest) return false;
        space();
        if (take("{")) return rows(json, Json::Object, "}", depth);
        if (take("[")) return rows(json, Json::List, "]", depth);
        if (take("null")) return true;
        for (const char* word : {"true", "false"}) {
            if (!take(word)) continue;
            json.kind = Json::Bool;
            json.text = word;
            return true;
        }
        if (at_ < text_.size() && text_[at_] == '"') {
            json.kind = Json::String;
            return string(json.text);
        }
        double number = 0.0;
        const char* const from = text_.data() + at_;
        const auto [end, error] = std::from_chars(from, text_.data() + text_.size(), number);
        if (error != std::errc() || !std::isfinite(number)) return false;
        json.kind = Json::Number;
        json.text.assign(from, end);
        at_ += json.text.size();
        return true;
    }

    bool rows(Json& json, Json::Kind kind, std::string_view close, int depth) {
        json.kind = kind;
        if (take(close)) return true;
        do {
            auto& [name, row] = json.rows.emplace_back();
            if (kind == Json::Object && (space(), !string(name) || !take(":"))) return false;
            if (!value(row, depth + 1)) return false;
        } while (take(","));
        return take(close);
    }

    bool string(std::string& out) {
        if (at_ >= text_.size() || text_[at_++] != '"') return false;
        while (at_ < text_.size()) {
            const char c = text_[at_++];
            if (c == '"') return true;
            if (c != '\\') {
                out += c;
            } else if (at_ < text_.size() && text_[at_] == 'u') {
                // quotedJson writes so what is below a space; of the rest nothing here can say how it is read
                unsigned code = 0;
                const char* const from = text_.data() + at_ + 1;
                if (text_.size() - at_ < 5 || std::from_chars(from, from + 4, code, 16).ptr != from + 4)
                    return false;
                out += code < 0x80 ? static_cast<char>(code) : '?';
                at_ += 5;
            } else {
                constexpr std::string_view kShort = "\"\\/bfnrt", kLong = "\"\\/\b\f\n\r\t";
                const std::size_t n = at_ < text_.size() ? kShort.find(text_[at_++]) : kShort.npos;
                if (n == kShort.npos) return false;
                out += kLong[n];
            }
        }
        return false;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace

const Json& Json::operator[](std::string_view name) const {
    static const Json none;
    for (const auto& [key, row] : rows) {
        if (key == name) return row;
    }
    return none;
}

double Json::number() const {
    double value = std::numeric_limits<double>::quiet_NaN();
    if (kind == Number) std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

std::optional<Json> parsedJson(std::string_view text) {
    Json json;
    if (!Reader(text).document(json)) return std::nullopt;
    return json;
}

std::string quotedJson(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            (quoted += '\\') += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            quoted += fmt::format("\\u{:04x}", static_cast<unsigned char>(c));
        } else {
            quoted += c;
        }
    }
    return quoted += '"';
}

std::string jsonNumber(double value) { return std::isfinite(value) ? fmt::format("{}", value) : "null"; }

}  // namespace tarn::sim
