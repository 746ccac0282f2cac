#include "host/stream/system_reader.h"

#include "host/stream/vocabulary.h"

#include <cstdint>

namespace host::stream {

namespace {

template <typename Integer>
void readPart(const Token& token, Integer& part, Fault& fault) {
    part = readInteger<Integer>(token, fault);
}

// Reads a list of exactly three numbers into the fields.
template <typename A, typename B, typename C>
void readThree(ObjectReader& line, std::string_view key, A& first, B& second, C& third) {
    line.value(key, 0, [&](const Token& token) {
        const Token* parts[3];
        if (!splitList(token, 3, parts, line.fault())) return 0;
        readPart(*parts[0], first, line.fault());
        readPart(*parts[1], second, line.fault());
        readPart(*parts[2], third, line.fault());
        return 0;
    });
}

void readTopology(ObjectReader& line, model::SystemMetadata& metadata) {
    Fault& fault = line.fault();
    std::int64_t count = 0;
    line.items(key::TOPOLOGY, [&](const Token& item) {
        const Token* parts[3];
        if (!splitList(item, 3, parts, fault)) return;
        const auto type = readInteger<std::int32_t>(*parts[0], fault, pwr::TOP_NODE_NONE, pwr::TOP_NODE_NULL);
        const auto id = readInteger<std::int32_t>(*parts[1], fault);
        const auto parent = readInteger<std::int64_t>(*parts[2], fault, -1, count - 1);
        if (fault.isSet()) return;
        const auto place = static_cast<std::size_t>(parent);
        metadata.addTopologyNode(static_cast<pwr::TopNodeType>(type), id, parent < 0 ? nullptr : &place);
        ++count;
    });
}

void readTexts(ObjectReader& line, model::SystemMetadata& metadata) {
    metadata.m_platformName = line.text(key::PLATFORM);
    metadata.m_hostName = line.text(key::HOST);
    metadata.m_osName = line.text(key::OS_NAME);
    metadata.m_osType = line.text(key::OS_TYPE);
    metadata.m_osVersion = line.text(key::OS_VERSION);
    metadata.m_startTime = line.text(key::START_TIME);
    metadata.m_codeName = line.text(key::CODE_NAME);
    metadata.m_nativeModel = line.text(key::NATIVE_MODEL);
    metadata.m_pchNames = line.text(key::PCH_NAMES);
    line.items(key::COMMAND,
               [&](const Token& item) { metadata.m_commandLine.emplace_back(readText(item, line.fault())); });
}

void readTimes(ObjectReader& line, model::SystemMetadata& metadata) {
    metadata.m_busFrequency = line.shortNumber(key::BUS_MHZ, 0);
    metadata.m_tscFrequency = line.shortNumber(key::TSC_MHZ, 0);
    metadata.m_lfmFrequency = line.shortNumber(key::LFM_MHZ, 0);
    metadata.m_hfmFrequency = line.shortNumber(key::HFM_MHZ, 0);
    metadata.m_cpuFrequency = line.shortNumber(key::CPU_MHZ, 0);
    metadata.m_collectionStart = line.integer<std::uint64_t>(key::START, 0);
    metadata.m_collectionStop = line.integer<std::uint64_t>(key::STOP, 0);
    metadata.m_collectionTime = line.integer<std::uint64_t>(key::TIME, 0);
    metadata.m_duration = line.number(key::DURATION_SEC, 0);
}

}  // namespace

std::unique_ptr<model::SystemMetadata> readSystemMetadata(ObjectReader& line) {
    auto metadata = std::make_unique<model::SystemMetadata>();
    readThree(line, key::CPU, metadata->m_cpu.family, metadata->m_cpu.model, metadata->m_cpu.stepping);
    pwr::Version& product = metadata->m_productVersion;
    readThree(line, key::PRODUCT, product.update, product.minor, product.major);
    pwr::Version& driver = metadata->m_driverVersion;
    readThree(line, key::DRIVER, driver.update, driver.minor, driver.major);
    readTexts(line, *metadata);
    readTopology(line, *metadata);
    readTimes(line, *metadata);
    metadata->m_platformId = line.integer<std::uint32_t>(key::PLATFORM_ID, 0);
    return metadata;
}

}  // namespace host::stream
