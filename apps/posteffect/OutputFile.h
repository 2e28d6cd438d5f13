// Writes a command's result so that there is either the whole file or none.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace posteffect {

// One output. "-" is the standard output; pipes and devices are written to directly; files are
// written beside their place and renamed. All operations throw Failure: cannot be written.
class OutputFile {
  public:
    // Checks what can be known before the work: whether the place is free (or `overwrite` given)
    // and can be written. `input` is only there to tell that both are one file.
    OutputFile(const std::string& path, const std::string& input, bool overwrite);

    // Whether it goes to a pipe, a device or standard output.
    bool isStream() const { return m_kind != Kind::kFile; }

    // Thread: any; files of several threads are written one after the other.
    void write(const std::vector<std::uint8_t>& bytes) const;

  private:
    enum class Kind { kFile, kStream, kStandardOutput };

    void checkExisting(const std::string& input);
    void checkFolder() const;
    void writeBeside(const std::vector<std::uint8_t>& bytes) const;

    std::string m_name;  // as the user wrote it
    std::string m_path;  // where it leads
    Kind m_kind = Kind::kFile;
    bool m_overwrite;
    unsigned m_mode = 0;  // permission bits of the file that is replaced; 0: a new file
};

}  // namespace posteffect
