// Runs the command and other programs in a folder of their own.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/Pixels.h"

using Words = std::vector<std::string>;

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
    // All that lies below it or below a folder in it, sorted, hidden files too.
    Words names(const std::string& folder = "") const;

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
    Bytes input = {};                                                   // on standard input
    std::vector<std::pair<std::string, std::string>> environment = {};  // added to ours
    long maximumFileSize = 0;  // bytes; writing beyond fails; 0: no limit
};

// Runs `program` with the folder as its working directory. A run that takes over a minute is ended
// by SIGALRM.
Outcome RunProgram(const TestFolder& folder, const std::string& program, const Words& arguments,
                   const RunOptions& options = {});

Words Lines(const std::string& text);
inline Words Lines(const Bytes& text) {
    return Lines(std::string(text.begin(), text.end()));
}

// A line for people: the name that it begins with first, no control characters.
void ExpectPlain(const std::string& line, const std::string& name);

// A run that has to fail: its exit code, what its line says, and how it comes about.
struct Fault {
    int exitCode;
    Words says;
    Words arguments;
    RunOptions options = {};
};

class CommandTest : public testing::Test {
  protected:
    Outcome run(const Words& arguments, const RunOptions& options = {}) const {
        return RunProgram(m_folder, POSTEFFECT_COMMAND, arguments, options);
    }
    // Runs what must succeed without a word; standard output.
    Bytes succeed(const Words& arguments, const RunOptions& options = {}) const;
    // One line each of all that is said, no output, and the folder as it was. `first` begins all
    // the command lines.
    void expectFaults(const Words& first, const std::vector<Fault>& faults) const;

    TestFolder m_folder;
};
