// Files below the root folder that are read once per sample.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/descriptor.h"

namespace host::record {

// The folder that stands for "/".
class Root {
public:
    explicit Root(const std::string& folder);

    bool isOpen() const { return m_folder.isOpen(); }
    const std::string& path() const { return m_path; }

    // Whether it is the machine's own root, so that the kernel may be asked too; else it is a copy of another
    // machine's files.
    bool isThisMachine() const { return m_isThisMachine; }

    // Opens a file or folder by its path relative to the root; not open, with errno set, on failure. Links of
    // another machine's files lead to no file of this one.
    base::Descriptor open(const std::string& path) const;
    base::Descriptor openFolder(const std::string& path) const;

    // The whole file without blanks at its ends; empty if it can't be read.
    std::string text(const std::string& path) const;

    // Names in a folder that begin with `prefix`, those that end in a number by that number; no "." and "..".
    std::vector<std::string> names(const std::string& folder, std::string_view prefix = {}) const;

    // Names of the folders in a folder, in the order of their bytes; links are none.
    std::vector<std::string> folders(const std::string& folder) const;

    // Target of a symbolic link, empty if it is none.
    std::string link(const std::string& path) const;

private:
    base::Descriptor open_i(const std::string& path, int flags) const;

    std::string m_path;
    base::Descriptor m_folder;
    bool m_isThisMachine;
    bool m_isConfined;  // that links can't leave the root
};

// A file that is opened once and read again and again from its start: one system call per sample.
class SampleFile {
public:
    SampleFile() = default;
    SampleFile(const Root& root, std::string path);

    const std::string& path() const { return m_path; }
    bool isOpen() const { return m_descriptor.isOpen(); }

    // The file as it is now, valid until the next read of any SampleFile that shares `buffer`. Empty when it
    // could not be read or holds nothing; errno says why, 0 for the latter.
    std::string_view read(std::vector<char>& buffer) const;

    // The number that the file begins with; false as for an empty read.
    bool readUnsigned(std::uint64_t& value) const;
    bool readSigned(std::int64_t& value) const;

    // The first character; false as for an empty read.
    bool readFirst(char& character) const;

    // Opens the path anew: the file of a device that went and came is another one.
    void reopen(const Root& root);

private:
    std::string_view readInto(char* buffer, std::size_t size) const;

    std::string m_path;
    base::Descriptor m_descriptor;
};

}  // namespace host::record
