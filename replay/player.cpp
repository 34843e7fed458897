#include "replay/player.h"

#include <dlfcn.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "replay/arguments.h"
#include "replay/blocks.h"
#include "replay/calls.h"

namespace tarn::replay {
namespace {

struct Playable {
    std::string_view name;
    Bytes (*call)(const Bytes& arguments);
};

template <auto FunctionOf, int... Elements>
Bytes callPacked(const Bytes& arguments) {
    constexpr int kElements[] = {Elements...};
    return callWith(FunctionOf, arguments, kElements);
}

#define PLAYABLE(result, name, parameters, names, ...) {#name, callPacked<&(name), __VA_ARGS__>},
constexpr Playable kPlayable[] = {TARN_RECORDED_CALLS(PLAYABLE)};

// What the services below still have to answer in the call that runs.
struct Answers {
    const std::vector<std::string>* names = nullptr;
    const std::vector<Answer>* given = nullptr;
    std::size_t next = 0;
    long off = 0;
} answers;

template <typename Result, typename... A>
Result answer(const char* name, Result (*service)(A...), const int* elements, A... arguments) {
    const bool known = answers.given != nullptr && answers.next < answers.given->size() &&
                       (*answers.names)[(*answers.given)[answers.next].service] == name;
    if (!known) {
        answers.off++;
        return service(arguments...);
    }
    const Bytes& bytes = (*answers.given)[answers.next++].bytes;
    std::size_t at = 0;
    const auto take = [&](void* to, std::size_t size) {
        if (bytes.size() - at < size) throw std::runtime_error("an answer is cut short");
        std::memcpy(to, bytes.data() + at, size);
        at += size;
    };
    Result result;
    take(&result, sizeof result);
    const auto write = [&](auto argument) {
        if constexpr (isArray<decltype(argument)>) {
            const auto count = static_cast<std::size_t>(*elements++);
            if (argument != nullptr) take(argument, count * sizeof *argument);
        }
    };
    (write(arguments), ...);
    return result;
}

void apply(const Changes& changes, Image& image, bool toBlocks) {
    for (const RunOfWords& run : changes) {
        for (std::size_t i = 0; i < run.words.size(); i++) {
            image[run.first + i] = run.words[i];
            if (toBlocks) std::memcpy(wordInBlock(run.first + i), &run.words[i], kWord);
        }
    }
}

std::string placeOf(std::size_t word) {
    const char* const kNames[] = {"mcb", "mpb", "how"};
    std::size_t block = 0;
    while (block < 2 && word >= kBlockWords[block]) word -= kBlockWords[block++];
    return std::string(kNames[block]) + " + " + std::to_string(word * kWord);
}

bool isNoNumber(std::uint64_t word) { return std::isnan(std::bit_cast<double>(word)); }

// Words of the changes that the blocks do not show.
long compareWords(const Changes& changes, long call, Differences& differences) {
    long off = 0;
    for (const RunOfWords& run : changes) {
        for (std::size_t i = 0; i < run.words.size(); i++) {
            std::uint64_t word;
            std::memcpy(&word, wordInBlock(run.first + i), kWord);
            if (word == run.words[i]) continue;
            if (isNoNumber(word) && isNoNumber(run.words[i])) {
                differences.signsOff++;
                continue;
            }
            if (differences.wordsOff == 0 && off == 0)
                differences.firstWord = placeOf(run.first + i) + ", call " + std::to_string(call);
            off++;
        }
    }
    return off;
}

void compareCurrents(const Image& image, Differences& differences) {
    HOW recorded;
    std::memcpy(&recorded, &image[kHowStart], sizeof recorded);
    bool off = false;
    for (std::size_t i = 0; i < 6; i++) {
        const int difference = std::abs(how.currentSet[i] - recorded.currentSet[i]);
        if (difference == 0) continue;
        off = true;
        differences.currentsOff++;
        differences.largestOff = std::max(differences.largestOff, difference);
    }
    if (off && differences.cyclesOff++ == 0) differences.firstOff = differences.cycles;
    differences.cycles++;
}

}  // namespace

bool Differences::none() const {
    return currentsOff == 0 && wordsOff == 0 && answersOff == 0 &&
           std::all_of(functions.begin(), functions.end(),
                       [](const FunctionDifferences& f) { return f.results == 0 && f.blocks == 0; });
}

Differences play(const std::filesystem::path& file) {
    Reader reader(file);
    const Header& header = reader.header();
    if (header.words != kBlockWords) throw std::runtime_error("recorded with blocks of another size");
    Differences differences;
    differences.title = header.title;
    std::vector<Bytes (*)(const Bytes&)> functions;
    for (const std::string& name : header.functions) {
        const auto* found = std::find_if(std::begin(kPlayable), std::end(kPlayable),
                                         [&](const Playable& playable) { return playable.name == name; });
        if (found == std::end(kPlayable)) throw std::runtime_error("cannot play " + name);
        functions.push_back(found->call);
        differences.functions.push_back({name});
    }
    Image image(kAllWords);
    answers = {&header.services, nullptr, 0, 0};
    long count = 0;
    for (Call call; reader.next(call); count++) {
        apply(call.before, image, true);
        answers.given = &call.answers;
        answers.next = 0;
        const Bytes results = functions[call.function](call.arguments);
        if (answers.next != call.answers.size()) answers.off++;

        FunctionDifferences& function = differences.functions[call.function];
        function.calls++;
        if (results != call.results) function.results++;
        const long words = compareWords(call.after, count, differences);
        if (words > 0) function.blocks++;
        differences.wordsOff += words;
        apply(call.after, image, false);
        if (function.name == "gravityTorqueControl") compareCurrents(image, differences);
    }
    // what the library changed here and did not in the recording is seen at the end
    long more = 0;
    for (std::size_t word = 0; word < kAllWords; word++) {
        std::uint64_t left;
        std::memcpy(&left, wordInBlock(word), kWord);
        if (left != image[word] && !(isNoNumber(left) && isNoNumber(image[word]))) more++;
    }
    if (more > 0 && differences.wordsOff == 0) differences.firstWord = "at the end";
    differences.wordsOff += more;
    differences.answersOff = answers.off;
    return differences;
}

}  // namespace tarn::replay

using namespace tarn::replay;

// This program's services come before the reference host's.
// NOLINTBEGIN: the lists bring their parentheses along
#define UNPACKED(...) __VA_OPT__(, ) __VA_ARGS__
#define ANSWERED(result, name, parameters, names, ...)                                          \
    result name parameters {                                                                    \
        static const auto service = reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name)); \
        static constexpr int kElements[] = {__VA_ARGS__};                                       \
        return answer(#name, service, kElements UNPACKED names);                                \
    }
TARN_RECORDED_ANSWERS(ANSWERED)
// NOLINTEND
