#pragma once

#include <string>

namespace support {

/// A folder of its own that is removed with all that is in it.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string path(const std::string& file) const { return m_path + "/" + file; }

    /// Writes a file and returns its path.
    std::string write(const std::string& file, const std::string& text) const;

private:
    std::string m_path;
};

std::string ReadFile(const std::string& path);

}  // namespace support
