// An output that others write by its name: under a passing one until it is whole.
#pragma once

#include <string>

#include "apps/posteffect/UnfinishedFile.h"

namespace posteffect {

class PendingFile {
  public:
    // Makes an empty file beside `path`. Throws Failure: cannot be written.
    explicit PendingFile(const std::string& path);

    std::string temporaryPath() const { return m_file.path(); }
    // Gives the file its name. Throws Failure when it cannot, or when the place has been taken
    // meanwhile and `overwrite` is not given.
    void commit(bool overwrite);

  private:
    std::string m_path;
    UnfinishedFile m_file;
};

}  // namespace posteffect
