// Timing helpers shared by the benchmarks: each runs our code and a peer
// library on the same bytes in one program and prints the ratio.
#pragma once
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace bench {

// Median wall time in milliseconds of `runs` calls of `work`.
template <typename Work>
double MedianMilliseconds(int runs, Work work) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const auto stop = std::chrono::steady_clock::now();
        times.push_back(std::chrono::duration<double, std::milli>(stop - start).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

inline std::vector<unsigned char> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in),
                                      std::istreambuf_iterator<char>());
}

// One line per file: name, our time, the peer's time, ours / peer.
inline void PrintRatio(const std::string& name, const char* peer, double ours, double theirs) {
    std::printf("%-40s vantirel %8.3f ms  %-14s %8.3f ms  ratio %5.2f\n", name.c_str(), ours, peer,
                theirs, theirs > 0 ? ours / theirs : 0.0);
}

}  // namespace bench
