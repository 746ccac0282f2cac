#include "export/result_file.h"

#include <vector>

#include "pwr/plugin_environment.h"

namespace exporting {

std::string resultPath(const std::string& outputName, std::string_view kind, std::string_view extension,
                       std::optional<unsigned> part) {
    std::string path = outputName;
    path += kind;
    if (part) path += "_" + std::to_string(*part);
    path += extension;
    return path;
}

void ResultFile::open(const std::string& path) {
    m_handle = g_pluginEnvironment->getFileOutputHandle(path.c_str());
    m_handle->m_buffer.clear();  // of what a start without memory may have left
    m_recordStart = 0;
}

void ResultFile::close() {
    if (m_handle == nullptr) return;
    dropRecord();
    flush_i();
    std::vector<char>().swap(m_handle->m_buffer);  // the host keeps its handles, and would keep the memory
    m_handle->close();
    m_handle = nullptr;
}

void ResultFile::flush_i() {
    m_handle->flush();
    m_handle->m_buffer.clear();
    m_handle->m_writeCount = 0;
    m_recordStart = 0;
}

}  // namespace exporting
