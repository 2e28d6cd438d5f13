// A folder of the test's own in place of the device's root.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/Variable.h"

namespace testing_support {

using Bytes = std::vector<unsigned char>;

inline Bytes ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

// Empty but for the folder "data"; gone with the object.
class SystemRoot {
  public:
    SystemRoot() {
        char folder[] = "/tmp/posteffect-root-XXXXXX";
        if (mkdtemp(folder) == nullptr) std::abort();
        m_root = folder;
        std::filesystem::create_directories(path("/data"));
        m_variable.emplace("POSTEFFECT_SYSROOT", m_root);
    }
    ~SystemRoot() { std::filesystem::remove_all(m_root); }
    SystemRoot(const SystemRoot&) = delete;
    SystemRoot& operator=(const SystemRoot&) = delete;

    // Where a path of the device lies.
    std::string path(const std::string& onDevice = {}) const { return m_root + onDevice; }

  private:
    std::string m_root;
    std::optional<Variable> m_variable;
};

}  // namespace testing_support
