// The file of a recorded run: every call that reached the library in it, with all that the library could see
// and all that it left behind. Writer and reader; nothing but the standard library.
//
// Bytes:
//     "TARNREC1"
//     number of words of mcb, mpb and how; number of functions, their names; number of services, theirs;
//     what was recorded, as text
//     then call after call: 'C', function, changes before, arguments, number of answers, (service, bytes)
//     each, results, changes after 'E', number of calls
// A number is seven bits a byte, lowest first, the top bit set in all but the last. A text or row of bytes is
// its size and itself. Words are eight bytes, little-endian, counted through mcb, mpb and how in that order.
// Changes are the number of runs, and of each the distance from the end of the one before, its length, its
// words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tarn::replay {

using Bytes = std::vector<unsigned char>;

struct RunOfWords {
    std::size_t first = 0;
    std::vector<std::uint64_t> words;
};
using Changes = std::vector<RunOfWords>;

struct Answer {
    std::size_t service = 0;
    Bytes bytes;  // return value, then the arrays written, in the order of the parameters
};

struct Call {
    std::size_t function = 0;
    Changes before;   // what others changed in the blocks since the call before
    Bytes arguments;  // in their order; an array is preceded by 1, a null pointer is 0 alone
    std::vector<Answer>
        answers;    // what services with a state of their own answered, in the order of the calls
    Bytes results;  // return value, then the arrays that may be written
    Changes after;  // what the library changed in the blocks
};

struct Header {
    std::array<std::size_t, 3> words{};  // of mcb, mpb, how
    std::vector<std::string> functions;
    std::vector<std::string> services;
    std::string title;
};

// Throws std::runtime_error when the file cannot be written.
class Writer {
  public:
    Writer(const std::filesystem::path& path, const Header& header) : file_(path, std::ios::binary) {
        file_.write(kMagic, sizeof kMagic);
        for (const std::size_t words : header.words) number(words);
        for (const auto* names : {&header.functions, &header.services}) {
            number(names->size());
            for (const std::string& name : *names) bytes(name.data(), name.size());
        }
        bytes(header.title.data(), header.title.size());
        check();
    }

    void add(const Call& call) {
        file_.put('C');
        number(call.function);
        changes(call.before);
        bytes(call.arguments.data(), call.arguments.size());
        number(call.answers.size());
        for (const Answer& answer : call.answers) {
            number(answer.service);
            bytes(answer.bytes.data(), answer.bytes.size());
        }
        bytes(call.results.data(), call.results.size());
        changes(call.after);
        calls_++;
    }

    void close() {
        file_.put('E');
        number(calls_);
        file_.close();
        check();
    }

    static constexpr char kMagic[8] = {'T', 'A', 'R', 'N', 'R', 'E', 'C', '1'};

  private:
    void check() const {
        if (!file_) throw std::runtime_error("the recording cannot be written");
    }

    void number(std::uint64_t value) {
        for (; value >= 0x80; value >>= 7) file_.put(static_cast<char>((value & 0x7f) | 0x80));
        file_.put(static_cast<char>(value));
    }

    void bytes(const void* start, std::size_t size) {
        number(size);
        file_.write(static_cast<const char*>(start), static_cast<std::streamsize>(size));
    }

    void changes(const Changes& runs) {
        number(runs.size());
        std::size_t end = 0;
        for (const RunOfWords& run : runs) {
            number(run.first - end);
            number(run.words.size());
            file_.write(reinterpret_cast<const char*>(run.words.data()),
                        static_cast<std::streamsize>(run.words.size() * sizeof(std::uint64_t)));
            end = run.first + run.words.size();
        }
    }

    std::ofstream file_;
    std::uint64_t calls_ = 0;
};

// Throws std::runtime_error for what is no recording, or is cut short.
class Reader {
  public:
    explicit Reader(const std::filesystem::path& path) : file_(path, std::ios::binary) {
        char magic[sizeof Writer::kMagic] = {};
        file_.read(magic, sizeof magic);
        if (std::memcmp(magic, Writer::kMagic, sizeof magic) != 0) fail();
        for (std::size_t& words : header_.words) {
            words = size();
            total_ += words;
        }
        for (auto* names : {&header_.functions, &header_.services}) {
            names->resize(size());
            for (std::string& name : *names) name = text();
        }
        header_.title = text();
    }

    const Header& header() const { return header_; }

    // The next call into the record given; false behind the last.
    bool next(Call& call) {
        const int kind = file_.get();
        if (kind == 'E' && number() == calls_) return false;
        if (kind != 'C') fail();
        call.function = below(header_.functions.size());
        changes(call.before);
        bytes(call.arguments);
        call.answers.resize(size());
        for (Answer& answer : call.answers) {
            answer.service = below(header_.services.size());
            bytes(answer.bytes);
        }
        bytes(call.results);
        changes(call.after);
        calls_++;
        return true;
    }

  private:
    [[noreturn]] static void fail() { throw std::runtime_error("not a whole recording"); }

    std::uint64_t number() {
        std::uint64_t value = 0;
        for (int shift = 0; shift < 64; shift += 7) {
            const int byte = file_.get();
            if (byte < 0) fail();
            value |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
            if (byte < 0x80) return value;
        }
        fail();
    }

    std::size_t below(std::size_t end) {
        const std::uint64_t value = number();
        if (value >= end) fail();
        return value;
    }

    std::size_t size() { return below(std::size_t{1} << 24); }  // a damaged file asks for no more memory

    void bytes(Bytes& to) {
        to.resize(size());
        read(to.data(), to.size());
    }

    std::string text() {
        std::string value(size(), '\0');
        read(value.data(), value.size());
        return value;
    }

    void read(void* to, std::size_t count) {
        if (!file_.read(static_cast<char*>(to), static_cast<std::streamsize>(count))) fail();
    }

    void changes(Changes& runs) {
        runs.resize(below(total_ + 1));
        std::size_t end = 0;
        for (RunOfWords& run : runs) {
            run.first = end + below(total_ - end + 1);
            run.words.resize(below(total_ - run.first + 1));
            read(run.words.data(), run.words.size() * sizeof(std::uint64_t));
            end = run.first + run.words.size();
        }
    }

    std::ifstream file_;
    Header header_;
    std::size_t total_ = 0;
    std::uint64_t calls_ = 0;
};

}  // namespace tarn::replay
