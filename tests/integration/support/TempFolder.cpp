#include "integration/support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace support {

TempFolder::TempFolder() : m_path((std::filesystem::temp_directory_path() / "qolive-XXXXXX").string()) {
    if (!mkdtemp(m_path.data())) throw std::runtime_error("no temporary folder");
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TempFolder::write(const std::string& file, const std::string& text) const {
    std::ofstream(path(file), std::ios::binary) << text;
    return path(file);
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace support
