#include "tests/support/CommandRunner.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace {

constexpr unsigned kDeadlineSeconds = 60;

struct Pipe {
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
    }
    int ends[2] = {-1, -1};
};

Bytes ReadToEnd(int fd) {
    Bytes bytes;
    std::uint8_t chunk[4096];
    for (ssize_t count = 0; (count = read(fd, chunk, sizeof(chunk))) > 0;) {
        bytes.insert(bytes.end(), chunk, chunk + count);
    }
    close(fd);
    return bytes;
}

void WriteAndClose(int fd, const Bytes& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count = write(fd, bytes.data() + done, bytes.size() - done);
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    close(fd);
}

[[noreturn]] void BecomeProgram(const std::string& folder, const std::string& program,
                                const Words& arguments, const RunOptions& options,
                                const int (&fds)[3]) {
    for (int i = 0; i < 3; ++i) dup2(fds[i], i);
    if (chdir(folder.c_str()) != 0) _exit(125);
    for (const auto& [name, value] : options.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    if (options.maximumFileSize > 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const auto size = static_cast<rlim_t>(options.maximumFileSize);
        const rlimit limit = {size, size};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    alarm(kDeadlineSeconds);
    std::vector<char*> words = {const_cast<char*>(program.c_str())};
    for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    execv(program.c_str(), words.data());
    _exit(126);
}

}  // namespace

TestFolder::TestFolder() {
    std::string name = std::filesystem::temp_directory_path() / "posteffect-test-XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    m_path = name;
}

TestFolder::~TestFolder() {
    std::filesystem::remove_all(m_path);
}

void TestFolder::write(const std::string& name, const Bytes& bytes) const {
    std::ofstream file(path(name), std::ios::binary);
    std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(file));
}

Bytes TestFolder::read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

Words TestFolder::names(const std::string& folder) const {
    Words names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path(folder))) {
        names.push_back(entry.path().lexically_relative(path(folder)));
    }
    std::sort(names.begin(), names.end());
    return names;
}

Outcome RunProgram(const TestFolder& folder, const std::string& program, const Words& arguments,
                   const RunOptions& options) {
    std::signal(SIGPIPE, SIG_IGN);  // a program need not read its input
    Pipe input, output, errors;
    const pid_t child = fork();
    if (child == 0) {
        std::signal(SIGPIPE, SIG_DFL);
        BecomeProgram(folder.path(""), program, arguments, options,
                      {input.ends[0], output.ends[1], errors.ends[1]});
    }
    close(input.ends[0]);
    close(output.ends[1]);
    close(errors.ends[1]);

    Outcome outcome;
    std::thread feeder([&] { WriteAndClose(input.ends[1], options.input); });
    std::thread reader([&] { outcome.output = ReadToEnd(output.ends[0]); });
    const Bytes text = ReadToEnd(errors.ends[0]);
    outcome.errors.assign(text.begin(), text.end());
    feeder.join();
    reader.join();
    int status = 0;
    rusage used{};
    wait4(child, &status, 0, &used);
    outcome.peakKiB = used.ru_maxrss;
    outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return outcome;
}

Words Lines(const std::string& text) {
    std::istringstream stream(text);
    Words lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

void ExpectPlain(const std::string& line, const std::string& name) {
    EXPECT_THAT(line, testing::StartsWith("posteffect: " + name));
    EXPECT_TRUE(std::all_of(line.begin(), line.end(), [](unsigned char c) { return c >= ' '; }));
}

Bytes CommandTest::succeed(const Words& arguments, const RunOptions& options) const {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Outcome outcome = run(arguments, options);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    return outcome.output;
}

void CommandTest::expectFaults(const Words& first, const std::vector<Fault>& faults) const {
    const Words names = m_folder.names();
    for (const Fault& fault : faults) {
        SCOPED_TRACE(testing::PrintToString(fault.arguments));
        const Outcome outcome = run(Joined(first, fault.arguments), fault.options);
        EXPECT_EQ(outcome.exitCode, fault.exitCode);
        const Words lines = Lines(outcome.errors);
        ASSERT_EQ(lines.size(), 1U) << outcome.errors;
        ExpectPlain(lines[0], "");
        for (const std::string& text : fault.says) EXPECT_THAT(lines[0], testing::HasSubstr(text));
        EXPECT_TRUE(outcome.output.empty());
        EXPECT_EQ(m_folder.names(), names);
    }
}
