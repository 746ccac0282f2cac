#pragma once

#include <cstdint>
#include <string>

#include "pwr/api.h"
#include "pwr/unique_id.h"

namespace pwr {

// Handle types that the writers test; the host may use any other value.
enum HandleType : std::int32_t {
    HANDLE_ATTRIBUTE = 0,        // can be cross-cast to pwr::Attribute (the cast may still fail)
    HANDLE_DATA_DESCRIPTOR = 9,  // usually a pwr::DataDescriptor (the cast may still fail)
};

// An interned description of something that has a name. Handles belong to the host and live for the
// whole run, so writers keep pointers to them.
class PWR_HOST_API DataHandle {
public:
    DataHandle(const DataHandle& other);
    virtual ~DataHandle();

    // The text that stands for this handle in a column name: the name, unless a derived class says more.
    virtual std::string getQualifiedName() const;

    // The name; the column header text of a summary table; the field name. Valid as long as the handle.
    const std::string& getName() const;
    const std::string& getHeader() const;
    const std::string& getFieldName() const;

    // See HandleType.
    std::int32_t getHandleType() const { return m_handleType; }

    // The id, unique among all handles of the run.
    unsigned long getId() const { return m_id.getId(); }

    // Looks a handle up by its id. On success fills `out` with a handle that the host owns and returns 0;
    // otherwise returns non-zero and leaves `out` alone.
    static int get(unsigned long id, const DataHandle*& out);

protected:
    DataHandle(unsigned long id, const std::string& name, const std::string& header,
               const std::string& fieldName, std::int32_t handleType);

    UniqueId m_id;
    std::string m_name;
    std::string m_header;
    std::string m_fieldName;
    std::string m_qualifiedName;
    std::string m_description;
    std::int32_t m_handleType;
};

}  // namespace pwr
