// Lines with the samples of an input, built in a buffer that is kept.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/base/text.h"
#include "host/base/utf8.h"
#include "host/emit/output.h"
#include "host/importers/metric_types.h"

namespace host::importers {

// A "metric" message, element by element: begin, then for each element its head and one value, then end.
class SampleLine {
public:
    explicit SampleLine(emit::Output& output) : m_output(output) {}

    // Begins the message of a metric's sample at `ticks`; ends the one before.
    void begin(std::uint32_t metric, std::uint64_t ticks);

    // Ends the message. Without one that has begun nothing happens.
    void end();

    // A descriptor of 0 is none.
    void element(std::uint64_t entity, std::uint64_t descriptor, std::uint64_t ticks) {
        m_text.append(m_count++ == 0 ? "{\"e\":" : ",{\"e\":");
        base::appendNumber(m_text, entity);
        if (descriptor != 0) member_i(",\"d\":", descriptor);
        if (ticks != 0) member_i(",\"dur\":", ticks);
    }
    std::size_t count() const { return m_count; }

    // Attributes of the element, as the stream writes them: pairs with commas between. In front of the value.
    void info(std::string_view pairs) { m_text.append(",\"info\":[").append(pairs).push_back(']'); }

    // A value as the stream writes it.
    void value(std::string_view json) { m_text.append(",\"v\":").append(json).push_back('}'); }

    void none() { m_text.push_back('}'); }
    void number(std::uint64_t value) { value_i('u', value); }
    void number(std::int64_t value) { value_i('i', value); }

    // With as many digits as tell it from its neighbours of the same precision.
    template <typename Real>
    void real(Real value) {
        m_text.append(",\"v\":{\"r\":");
        appendReal(m_text, value);
        m_text.append("}}");
    }
    void handle(std::uint64_t id) { value_i('h', id); }

    // What something has grown by: as a whole number, if it is one.
    template <typename Real>
    void increase(Real value) {
        if (value >= 0 && !std::signbit(value) && value < Real(0x1p63) && value == std::trunc(value))
            return number(static_cast<std::uint64_t>(value));
        real(value);
    }
    void text(std::string_view text);

    // A number of a result, by the type of its metric. `residency` writes one that is a time in a state. What
    // another state was is not in such a result, but for the descriptor of an element that has one.
    template <typename Real, typename Residency>
    void typed(std::uint8_t type, Real value, std::uint32_t descriptor, Residency residency) {
        switch (type) {
            case METRIC_RESIDENCY:
                return residency(value);
            case METRIC_DELTA:
                return increase(value);
            case METRIC_VALUE:
                return real(value);
            default:
                return descriptor != 0 ? handle(descriptor) : none();
        }
    }

    // A range, of one of the kinds 'i', 'u' and 'r'.
    template <typename Number>
    void range(char kind, Number low, Number high) {
        m_text.append(",\"v\":{\"").push_back(kind);
        m_text.append("\":[");
        appendAny_i(low);
        m_text.push_back(',');
        appendAny_i(high);
        m_text.append("]}}");
    }

    template <typename Real>
    static void appendReal(std::string& out, Real value) {
        if (std::isfinite(value))
            base::appendNumber(out, value);
        else
            out.append(std::isnan(value) ? "\"nan\"" : value > 0 ? "\"inf\"" : "\"-inf\"");
    }

private:
    void member_i(std::string_view key, std::uint64_t value) {
        m_text.append(key);
        base::appendNumber(m_text, value);
    }
    template <typename Number>
    void value_i(char kind, Number value) {
        m_text.append(",\"v\":{\"").push_back(kind);
        m_text.append("\":");
        base::appendNumber(m_text, value);
        m_text.append("}}");
    }
    template <typename Number>
    void appendAny_i(Number value) {
        if constexpr (std::is_floating_point_v<Number>)
            appendReal(m_text, value);
        else
            base::appendNumber(m_text, value);
    }

    emit::Output& m_output;
    std::string m_text;
    std::size_t m_count = 0;
    bool m_isOpen = false;
};

}  // namespace host::importers
