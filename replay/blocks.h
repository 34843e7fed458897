// The three blocks as one row of words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "replay/recording.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::replay {

constexpr std::size_t kWord = sizeof(std::uint64_t);
static_assert(sizeof mcb % kWord == 0 && sizeof mpb % kWord == 0 && sizeof how % kWord == 0);
constexpr std::array<std::size_t, 3> kBlockWords = {sizeof mcb / kWord, sizeof mpb / kWord,
                                                    sizeof how / kWord};
constexpr std::size_t kAllWords = kBlockWords[0] + kBlockWords[1] + kBlockWords[2];
constexpr std::size_t kHowStart = kBlockWords[0] + kBlockWords[1];

using Image = std::vector<std::uint64_t>;  // of all three

inline unsigned char* blockBytes(int block) {
    return block == 0   ? reinterpret_cast<unsigned char*>(&mcb)
           : block == 1 ? reinterpret_cast<unsigned char*>(&mpb)
                        : reinterpret_cast<unsigned char*>(&how);
}

// Where a word is. A run that crosses from one block into the next is in two pieces.
inline unsigned char* wordInBlock(std::size_t word) {
    for (int block = 0; block < 3; block++) {
        const std::size_t words = kBlockWords[static_cast<std::size_t>(block)];
        if (word < words) return blockBytes(block) + word * kWord;
        word -= words;
    }
    return nullptr;
}

// What differs from the image, which then is as the blocks are.
inline Changes takeChanges(Image& image) {
    constexpr std::size_t kPiece = 64;  // words compared at once
    Changes changes;
    std::size_t start = 0;
    for (int block = 0; block < 3; block++) {
        const std::size_t words = kBlockWords[static_cast<std::size_t>(block)];
        const unsigned char* bytes = blockBytes(block);
        for (std::size_t piece = 0; piece < words; piece += kPiece) {
            const std::size_t end = piece + kPiece < words ? piece + kPiece : words;
            if (std::memcmp(&image[start + piece], bytes + piece * kWord, (end - piece) * kWord) == 0)
                continue;
            for (std::size_t i = piece; i < end; i++) {
                std::uint64_t word;
                std::memcpy(&word, bytes + i * kWord, kWord);
                if (word == image[start + i]) continue;
                image[start + i] = word;
                if (changes.empty() || changes.back().first + changes.back().words.size() != start + i)
                    changes.push_back({start + i, {}});
                changes.back().words.push_back(word);
            }
        }
        start += words;
    }
    return changes;
}

}  // namespace tarn::replay
