// Runs programs in a folder of their own.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/JpegFile.h"

// A new folder under the system's temporary one, removed with all that is in it.
class TestFolder {
  public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::string path(const std::string& name) const { return m_path + "/" + name; }
    void write(const std::string& name, const Bytes& bytes) const;
    Bytes read(const std::string& name) const;  // empty when there is no such file
    std::vector<std::string> names() const;     // sorted, hidden files too

  private:
    std::string m_path;
};

struct Outcome {
    int exitCode = -1;  // minus the signal when one ended it
    Bytes output;
    std::string errors;
    long peakKiB = 0;  // of resident memory
};

struct RunOptions {
    Bytes input;                                                   // on standard input
    std::vector<std::pair<std::string, std::string>> environment;  // added to ours
    bool interruptWhileReading = false;  // SIGINT while it waits for more standard input
    long maximumFileSize = 0;            // bytes; writing beyond fails; 0: no limit
};

// Runs `program` with the folder as its working directory. A run that takes over a minute is ended
// by SIGALRM.
Outcome RunProgram(const TestFolder& folder, const std::string& program,
                   const std::vector<std::string>& arguments, const RunOptions& options = {});
