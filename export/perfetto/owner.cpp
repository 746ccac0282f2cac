#include "export/perfetto/owner.h"

namespace exporting {

namespace {

const pwr::DataHandle* handleOf(const pwr::Data& data) {
    const pwr::DataHandle* handle = nullptr;
    if (data.m_type == pwr::DATA_HANDLE) data.toHandle(handle);
    return handle;
}

void look(const pwr::Data& data, Owner& owner) {
    const pwr::DataHandle* const handle = handleOf(data);
    if (handle == nullptr) return;
    if (owner.process == nullptr) owner.process = dynamic_cast<const pwr::Process*>(handle);
    if (owner.thread == nullptr) owner.thread = dynamic_cast<const pwr::Thread*>(handle);
}

}  // namespace

Owner ownerOf(const pwr::DataElement& element) {
    Owner owner;
    if (const auto* info = element.getAdditionalInfo(); info != nullptr)
        for (const auto& [id, data] : *info) look(data, owner);
    if (owner.isKnown()) return owner;
    look(*element.getValue(), owner);
    const pwr::DataHandle* const handle = handleOf(*element.getValue());
    if (owner.isKnown() || handle == nullptr || handle->getHandleType() != pwr::HANDLE_DATA_DESCRIPTOR)
        return owner;
    if (const auto* descriptor = dynamic_cast<const pwr::DataDescriptor*>(handle); descriptor != nullptr)
        for (const auto& [attribute, data] : *descriptor) look(data, owner);
    return owner;
}

}  // namespace exporting
