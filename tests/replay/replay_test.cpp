// The file of a recording comes back as it was written, and the player tells what differs from it.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "replay/arguments.h"
#include "replay/blocks.h"
#include "replay/player.h"
#include "support/scratch_folder.h"
#include "tarnhost/defaults.h"
#include "tmcforceblock.h"

using namespace tarn::replay;

namespace {

const Header kHeader = {
    kBlockWords, {"gravityTorqueControl", "tmcSetCollisionLevel"}, {"newCollisionRatio"}, "a"};

// Three cycles of an arm that stands elsewhere in each, from blocks of zeros.
std::vector<Call> threeCycles() {
    std::vector<Call> calls;
    Image image(kAllWords);
    tarn::host::setDefaults(101);
    for (int n = 0; n < 3; n++) {
        Call call;
        JNTS q = mpb.j6;
        q.v[1] = -60.0 + 7.0 * n;
        q.v[2] = 80.0;
        call.before = takeChanges(image);
        call.arguments.push_back(1);
        append(call.arguments, &q, sizeof q);
        gravityTorqueControl(&q);
        append(call.results, &q, sizeof q);
        call.after = takeChanges(image);
        calls.push_back(call);
    }
    mcb = {};
    mpb = {};
    how = {};
    return calls;
}

void write(const std::filesystem::path& file, const std::vector<Call>& calls,
           const Header& header = kHeader) {
    Writer writer(file, header);
    for (const Call& call : calls) writer.add(call);
    writer.close();
}

// The word with the recorded current of joint 2.
std::uint64_t& currentOfJoint2(Call& call) {
    const std::size_t word = kHowStart + offsetof(HOW, currentSet[1]) / kWord;
    for (RunOfWords& run : call.after)
        if (run.first <= word && word < run.first + run.words.size()) return run.words[word - run.first];
    throw std::runtime_error("no current of joint 2");
}

class Replay : public testing::Test {
  protected:
    fixture::ScratchFolder folder_;
    std::filesystem::path file_ = folder_.path / "recording";
};

}  // namespace

TEST_F(Replay, AFileIsReadAsItWasWrittenAndNoShorterOneIs) {
    std::vector<Call> calls(2);
    calls[0] = {1,           {{0, {1, ~0ULL}}, {300, {7}}, {kAllWords - 1, {9}}},
                {1, 2, 255}, {{0, {}}, {0, Bytes(200, 3)}},
                {},          {}};
    calls[1].after = {{kAllWords - 2, {1, 2}}};
    write(file_, calls);
    Reader reader(file_);
    EXPECT_EQ(reader.header().functions, kHeader.functions);
    EXPECT_EQ(reader.header().services, kHeader.services);
    EXPECT_EQ(reader.header().title, "a");
    Call call;
    for (const Call& written : calls) {
        ASSERT_TRUE(reader.next(call));
        EXPECT_EQ(call.function, written.function);
        EXPECT_EQ(call.arguments, written.arguments);
        ASSERT_EQ(call.answers.size(), written.answers.size());
        for (std::size_t i = 0; i < call.answers.size(); i++)
            EXPECT_EQ(call.answers[i].bytes, written.answers[i].bytes);
        for (const auto part : {&Call::before, &Call::after}) {
            ASSERT_EQ((call.*part).size(), (written.*part).size());
            for (std::size_t i = 0; i < (call.*part).size(); i++) {
                EXPECT_EQ((call.*part)[i].first, (written.*part)[i].first);
                EXPECT_EQ((call.*part)[i].words, (written.*part)[i].words);
            }
        }
    }
    EXPECT_FALSE(reader.next(call));

    std::ifstream in(file_, std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(in)), {});
    for (std::size_t size = 0; size < whole.size(); size += 1 + size / 16) {
        std::ofstream(file_, std::ios::binary | std::ios::trunc) << whole.substr(0, size);
        EXPECT_THROW(
            {
                Reader cut(file_);
                while (cut.next(call)) continue;
            },
            std::runtime_error)
            << size;
    }
}

TEST_F(Replay, TheSameCallsDifferInNothing) {
    write(file_, threeCycles());
    const Differences found = play(file_);
    EXPECT_TRUE(found.none()) << found.firstWord;
    EXPECT_EQ(found.cycles, 3);
    EXPECT_NE(how.currentSet[1], 0);
}

TEST_F(Replay, ACurrentThatIsOffIsTold) {
    std::vector<Call> calls = threeCycles();
    currentOfJoint2(calls[1]) += std::uint64_t{3} << (8 * (offsetof(HOW, currentSet[1]) % kWord));
    write(file_, calls);
    const Differences found = play(file_);
    EXPECT_FALSE(found.none());
    EXPECT_EQ(found.cyclesOff, 1);
    EXPECT_EQ(found.currentsOff, 1);
    EXPECT_EQ(found.firstOff, 1);
    EXPECT_EQ(found.largestOff, 3);
    EXPECT_EQ(found.wordsOff, 1);
    EXPECT_EQ(found.functions[0].blocks, 1);
    EXPECT_EQ(found.functions[0].results, 0);
}

TEST_F(Replay, AnAnswerNobodyAskedForAndAResultThatIsOffAreTold) {
    std::vector<Call> calls = threeCycles();
    calls[0].answers.push_back({0, Bytes(28)});
    calls[2].results[0] ^= 1;
    write(file_, calls);
    const Differences found = play(file_);
    EXPECT_EQ(found.answersOff, 1);
    EXPECT_EQ(found.functions[0].results, 1);
    EXPECT_EQ(found.currentsOff, 0);
}

TEST_F(Replay, OtherBlocksAndFunctionsAreRefused) {
    Header header = kHeader;
    header.words[0]++;
    write(file_, {}, header);
    EXPECT_THROW(play(file_), std::runtime_error);
    header = kHeader;
    header.functions[1] = "nobodyKnows";
    write(file_, {}, header);
    EXPECT_THROW(play(file_), std::runtime_error);
}
