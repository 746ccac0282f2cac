#pragma once

#include <cstdint>
#include <string>

#include "pwr/api.h"
#include "pwr/data_handle.h"

namespace pwr {

// A process, held as a handle in a pwr::Data. Times are in ticks; 0 means unknown.
class PWR_HOST_API Process : public DataHandle {
public:
    ~Process() override;

    std::int32_t getPid() const;
    std::int32_t getParentPid() const;
    const std::string& getPath() const;
    std::uint64_t getStartTime() const;
    std::uint64_t getEndTime() const;

protected:
    Process(unsigned long id, const std::string& name);
};

// A thread, held as a handle in a pwr::Data. Times are in ticks; 0 means unknown.
class PWR_HOST_API Thread : public DataHandle {
public:
    ~Thread() override;

    std::int32_t getTid() const;
    std::int32_t getPid() const;
    std::uint64_t getStartTime() const;
    std::uint64_t getEndTime() const;

protected:
    Thread(unsigned long id, const std::string& name);
};

// A named number with an explanation, held as a handle in a pwr::Data.
class PWR_HOST_API NameValuePair : public DataHandle {
public:
    ~NameValuePair() override;

    const std::string& getInfoName() const;
    const std::string& getValueDesc() const;
    std::int64_t getValue() const;

protected:
    NameValuePair(unsigned long id, const std::string& name);
};

}  // namespace pwr
