// Records what the library is called with and what comes of it, in a process whose program contains
// recorder.cpp: its definitions of the library's functions come before the library's own, and lead there.
#pragma once

#include <filesystem>
#include <string>

namespace tarn::replay {

// From the next call on, for as many cycles. For a faithful replay it starts before the process has called
// the library at all.
void startRecording(const std::filesystem::path& file, const std::string& title, long cycles);
void endRecording();
bool isRecording();

}  // namespace tarn::replay
