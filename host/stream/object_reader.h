#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "host/stream/fault.h"
#include "host/stream/json_line.h"
#include "host/stream/token_reader.h"

namespace host::stream {

// Reads the members of an object by key. Every key must be asked for: finish reports those that were not.
// After a fault all operations do nothing and return defaults.
class ObjectReader {
public:
    // `object` must be an object; otherwise the fault is set.
    ObjectReader(const Token& object, Fault& fault);

    // Returns the value of `key`, or null if it is absent. A value of null counts as absent for find, which
    // most callers want.
    const Token* find(std::string_view key) {
        const Token* const token = findAny(key);
        return token != nullptr && token->m_type != Token::Null ? token : nullptr;
    }
    const Token* findAny(std::string_view key);

    // Like find, but an absent key is a fault.
    const Token* require(std::string_view key);

    template <typename Integer>
    Integer requireInteger(std::string_view key, Integer low = std::numeric_limits<Integer>::min(),
                           Integer high = std::numeric_limits<Integer>::max()) {
        return readAt_i(key, require(key), Integer{},
                        [&](const Token& token) { return readInteger<Integer>(token, m_fault, low, high); });
    }

    template <typename Integer>
    Integer integer(std::string_view key, Integer fallback, Integer low = std::numeric_limits<Integer>::min(),
                    Integer high = std::numeric_limits<Integer>::max()) {
        return readAt_i(key, find(key), fallback,
                        [&](const Token& token) { return readInteger<Integer>(token, m_fault, low, high); });
    }

    std::string requireText(std::string_view key) {
        return readAt_i(key, require(key), std::string(),
                        [this](const Token& token) { return std::string(readText(token, m_fault)); });
    }

    std::string text(std::string_view key, const std::string& fallback = std::string()) {
        return readAt_i(key, find(key), fallback,
                        [this](const Token& token) { return std::string(readText(token, m_fault)); });
    }

    double number(std::string_view key, double fallback) {
        return readAt_i(key, find(key), fallback,
                        [this](const Token& token) { return readDouble(token, m_fault); });
    }

    float shortNumber(std::string_view key, float fallback) {
        return readAt_i(key, find(key), fallback,
                        [this](const Token& token) { return readFloat(token, m_fault); });
    }

    bool flag(std::string_view key, bool fallback) {
        return readAt_i(key, find(key), fallback,
                        [this](const Token& token) { return readFlag(token, m_fault); });
    }

    // Calls `read` for every item of the list at `key`; an absent list has none.
    template <typename Read>
    void items(std::string_view key, Read read) {
        if (const Token* list = find(key); list != nullptr) readItems(key, *list, m_fault, read);
    }

    // Calls `read` for the value at `key` unless it is absent, and returns what it returns.
    template <typename Result, typename Read>
    Result value(std::string_view key, Result fallback, Read read) {
        return readAt_i(key, find(key), fallback, read);
    }

    // Ends the reading; returns true if there is no fault.
    bool finish();

    Fault& fault() { return m_fault; }

private:
    struct Member {
        const Token* m_key;
        const Token* m_value;
        bool m_isRead;
    };
    static constexpr std::size_t MAX_MEMBERS = 64;

    template <typename Result, typename Read>
    Result readAt_i(std::string_view key, const Token* token, Result fallback, Read read) {
        if (token == nullptr) return fallback;
        Result result = read(*token);
        m_fault.in(key);
        return result;
    }

    Fault& m_fault;
    Member m_members[MAX_MEMBERS];
    std::size_t m_count = 0;
};

}  // namespace host::stream
