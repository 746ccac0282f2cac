#pragma once

namespace host::base {

// A file descriptor that is closed with its owner.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    int get() const { return m_number; }
    bool isOpen() const { return m_number >= 0; }

    // Gives the number up: it is the caller's to close.
    int release();

private:
    int m_number;
};

}  // namespace host::base
