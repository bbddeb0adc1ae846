// A directory and a file that go with the test, and bytes to put there.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>

inline std::string RandomBytes(size_t length, uint64_t seed = 1) {
    std::mt19937_64 random(seed);
    std::string bytes(length, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

class CScratch {
public:
    CScratch() {
        std::string pattern = (std::filesystem::temp_directory_path() / "lumo-test-XXXXXX").string();
        m_path = mkdtemp(pattern.data());
    }
    ~CScratch() { std::filesystem::remove_all(m_path); }
    CScratch(const CScratch&) = delete;
    CScratch& operator=(const CScratch&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }
    /// Makes the folders above the file too.
    void Put(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories((m_path / name).parent_path());
        std::ofstream(m_path / name, std::ios::binary) << content;
    }
    std::string Get(const std::string& name) const {
        std::ifstream file(m_path / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_path)) names.insert(entry.path().filename());
        return names;
    }

private:
    std::filesystem::path m_path;
};

/// A file without a name, and what has been written to it.
class CUnnamedFile {
public:
    CUnnamedFile() = default;
    ~CUnnamedFile() { std::fclose(m_pFile); }
    CUnnamedFile(const CUnnamedFile&) = delete;
    CUnnamedFile& operator=(const CUnnamedFile&) = delete;

    std::FILE* Get() const { return m_pFile; }
    std::string Content() const {
        std::string bytes(static_cast<size_t>(std::ftell(m_pFile)), '\0');
        std::rewind(m_pFile);
        bytes.resize(std::fread(bytes.data(), 1, bytes.size(), m_pFile));
        return bytes;
    }

private:
    std::FILE* const m_pFile = std::tmpfile();
};
