// A file that another writes under a passing name and that gets its own when it is whole.
#pragma once

#include <string>

namespace posteffect {

class PendingFile {
  public:
    // Makes an empty file beside `path`. Throws Failure: cannot be written.
    explicit PendingFile(const std::string& path);
    // Removes the file unless it was committed.
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::string& temporaryPath() const { return m_temporary; }
    // Gives the file its name. Throws Failure when it cannot, or when the place has been taken
    // meanwhile and `overwrite` is not given.
    void commit(bool overwrite);

  private:
    std::string m_path;
    std::string m_temporary;  // empty once it is committed
};

}  // namespace posteffect
