#include "replay/recorder.h"

#include <dlfcn.h>

#include <cstdlib>
#include <memory>
#include <optional>

#include "replay/arguments.h"
#include "replay/blocks.h"
#include "replay/calls.h"

namespace tarn::replay {
namespace {

#define NAME(result, name, ...) #name,
#define NUMBER(result, name, ...) k_##name,
enum Function : std::size_t { TARN_RECORDED_CALLS(NUMBER) };
enum Service : std::size_t { TARN_RECORDED_ANSWERS(NUMBER) };

struct Recorder {
    Writer writer;
    Image image = Image(kAllWords);  // the blocks as the replay will have them: zero at load
    long cyclesLeft = 0;
    Call call{};
    bool inside = false;     // of the library
    bool answering = false;  // of a service
};
std::optional<Recorder> recorder;

// The one behind this program's.
template <typename F>
F* behind(const char* name) {
    void* found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) std::abort();
    return reinterpret_cast<F*>(found);
}

template <typename Result, typename... A>
Result record(Function number, Result (*function)(A...), const int* elements, A... arguments) {
    // a call that a service makes is part of the one that asked for the service
    if (!recorder || recorder->inside) return function(arguments...);
    Call& call = recorder->call;
    call = {};
    call.function = number;
    call.before = takeChanges(recorder->image);
    const int* element = elements;
    (pack(call.arguments, arguments, element), ...);

    recorder->inside = true;
    const auto end = [&] {
        recorder->inside = false;
        element = elements;
        (packWritten(call.results, arguments, element), ...);
        call.after = takeChanges(recorder->image);
        recorder->writer.add(call);
        if (number == k_gravityTorqueControl && --recorder->cyclesLeft <= 0) endRecording();
    };
    if constexpr (std::is_void_v<Result>) {
        function(arguments...);
        end();
    } else {
        const Result result = function(arguments...);
        append(call.results, &result, sizeof result);
        end();
        return result;
    }
}

template <typename Result, typename... A>
Result answer(Service number, Result (*service)(A...), const int* elements, A... arguments) {
    if (!recorder || !recorder->inside || recorder->answering) return service(arguments...);
    recorder->answering = true;
    const Result result = service(arguments...);
    recorder->answering = false;
    Answer given{number, {}};
    append(given.bytes, &result, sizeof result);
    (packWritten(given.bytes, arguments, elements), ...);
    recorder->call.answers.push_back(given);
    return result;
}

}  // namespace

void startRecording(const std::filesystem::path& file, const std::string& title, long cycles) {
    const Header header = {kBlockWords, {TARN_RECORDED_CALLS(NAME)}, {TARN_RECORDED_ANSWERS(NAME)}, title};
    recorder.emplace(Recorder{.writer = Writer(file, header)});
    recorder->cyclesLeft = cycles;
}

bool isRecording() { return recorder.has_value(); }

void endRecording() {
    if (!recorder) return;
    recorder->writer.close();
    recorder.reset();
}

}  // namespace tarn::replay

using namespace tarn::replay;

// NOLINTBEGIN: the lists bring their parentheses along
#define UNPACKED(...) __VA_OPT__(, ) __VA_ARGS__
#define THROUGH(how, result, name, parameters, names, ...)          \
    result name parameters {                                        \
        static const auto function = behind<decltype(name)>(#name); \
        static constexpr int kElements[] = {__VA_ARGS__};           \
        return how(k_##name, function, kElements UNPACKED names);   \
    }
#define RECORDED(...) THROUGH(record, __VA_ARGS__)
#define ANSWERED(...) THROUGH(answer, __VA_ARGS__)
TARN_RECORDED_CALLS(RECORDED)
TARN_RECORDED_ANSWERS(ANSWERED)
// NOLINTEND
