// A pool of frames that logs how it is used, and the report that comes of it.
//
// Usage: object_pool WORKFOLDER [SECONDS]
//
// Two threads use the pool for SECONDS, 8 unless given: rates are measured after the first 7.5. The
// report goes below WORKFOLDER, which takes the place of the user's own state folder.

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Vorn/Vorn.h"

namespace {

using Frame = std::array<unsigned char, 4096>;

class FramePool : private Vorn::PooledObjectDebug::LoggingTraitsBase {
public:
    FramePool() : LoggingTraitsBase("Example frames") {}

    std::unique_ptr<Frame> take() {
        const EasyCrit guard(lock);
        ltb_beforePop(0);
        if (freeFrames.empty()) freeFrames.push_back(std::make_unique<Frame>());
        std::unique_ptr<Frame> frame = std::move(freeFrames.back());
        freeFrames.pop_back();
        ltb_afterPop(frame.get(), 0);
        return frame;
    }
    void giveBack(std::unique_ptr<Frame> frame) {
        const EasyCrit guard(lock);
        ltb_beforePush(frame.get(), 0);
        freeFrames.push_back(std::move(frame));
        ltb_afterPush(freeFrames.back().get(), 0);
    }

private:
    CriticalSection lock;
    std::vector<std::unique_ptr<Frame>> freeFrames;
};

// Holds three frames at a time, like a decoder that needs its neighbours.
void decode(FramePool& pool, double untilMs) {
    while (Vorn::now() < untilMs) {
        std::unique_ptr<Frame> frames[3];
        for (auto& frame : frames) frame = pool.take();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        for (auto& frame : frames) pool.giveBack(std::move(frame));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return std::cerr << "usage: object_pool WORKFOLDER [SECONDS]\n", 1;
    const double seconds = argc > 2 ? std::atof(argv[2]) : 8.0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet.
    setenv("XDG_STATE_HOME", std::filesystem::absolute(argv[1]).c_str(), 1);
    const auto logs = Vorn::UTF8FromWString(Vorn::PathsLite::getSystemLogsPath());
    std::filesystem::create_directories(logs.c_str());
    {
        FramePool pool;
        const double untilMs = Vorn::now() + seconds * 1000;
        const std::jthread other(decode, std::ref(pool), untilMs);
        decode(pool, untilMs);
    }
    std::ifstream report((logs + "PooledObjects.log").c_str());
    std::string line, last;
    while (std::getline(report, line)) last = line;
    std::cout << last << '\n';
    return last.starts_with("Example frames: maxInUse ") ? 0 : 1;
}
