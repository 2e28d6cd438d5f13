#include "apps/posteffect/PendingFile.h"

#include <cerrno>
#include <cstring>

#include "apps/posteffect/Failure.h"

namespace posteffect {

PendingFile::PendingFile(const std::string& path) : m_path(path), m_file(path, 0666) {
    if (m_file.valid()) return;
    throw Failure(kExitCannotWrite, path,
                  std::string(std::strerror(errno)) + ": choose a folder that you may write to");
}

void PendingFile::commit(bool overwrite) {
    int error = m_file.finish();
    if (error == 0) error = m_file.moveTo(m_path, overwrite);
    if (error == 0) return;
    throw Failure(kExitCannotWrite, m_path,
                  error == EEXIST
                      ? "came up meanwhile: name another file, or add --force to "
                        "replace it"
                      : std::string(std::strerror(error)) + ": make room, or choose another place");
}

}  // namespace posteffect
