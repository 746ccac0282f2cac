// Measures a piece of work in a child process of its own.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// What one run cost. CPU times are user and system time of the thread, in nanoseconds.
struct Cost {
    double ingestNs = 0;   // up to the last message
    double finiNs = 0;     // from there to the end
    double bytes = 0;      // of the result files
    double peakBytes = 0;  // memory above what the process had at the start of the run
    double written = 0;    // bytes that were written to files of any kind
    double spools = 0;     // files with data that were open, after the last message or at the end
    double totalNs() const { return ingestNs + finiNs; }
};

// Smallest, middle and largest of several figures.
struct Spread {
    double median = 0;
    double min = 0;
    double max = 0;
};
Spread spreadOf(std::vector<double> figures);

// CPU time of this process so far, in nanoseconds.
double cpuNs();

// What this process has written so far, in bytes, to any file.
double bytesWritten();

// How many files with data the process has open in its working directory.
std::size_t openSpools();

// Runs `work` in a forked child whose working directory is a fresh folder in memory-backed storage, which is
// removed afterwards. `work` fills the times; bytes are the sizes of the files that it leaves, and peakBytes
// is measured around it. Exits the program with a message if the child fails.
Cost measureInChild(const std::string& name, const std::function<void(Cost&)>& work);

}  // namespace bench
