#pragma once

// The bytes of an image: they begin in a room that their owner lends and move to the heap when
// they outgrow it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Operations raise std::bad_alloc and change nothing then.
class CImageBytes {
public:
    // The room must outlive this.
    CImageBytes(std::uint8_t* room, std::size_t size)
        : m_pRoom(room), m_pBytes(room), m_uiCapacity(size) {}
    CImageBytes(const CImageBytes&) = delete;
    CImageBytes& operator=(const CImageBytes&) = delete;
    ~CImageBytes() { Replace(m_pRoom); }

    std::uint8_t* Data() { return m_pBytes; }
    const std::uint8_t* Data() const { return m_pBytes; }
    std::size_t Size() const { return m_uiSize; }

    // Makes room for that many bytes in all.
    void Reserve(std::size_t capacity) {
        if (capacity <= m_uiCapacity)
            return;
        auto* const grown = new std::uint8_t[capacity];
        std::memcpy(grown, m_pBytes, m_uiSize);
        Replace(grown);
        m_uiCapacity = capacity;
    }

    // Appends bytes, which have no value yet, and returns the first of them.
    std::uint8_t* Extend(std::size_t count) {
        const std::size_t size = m_uiSize + count;
        if (size > m_uiCapacity)
            Reserve(std::max(size, m_uiCapacity + m_uiCapacity / 2));
        std::uint8_t* const added = m_pBytes + m_uiSize;
        m_uiSize = size;
        return added;
    }

    // Takes a copy of other bytes, which may lie in these.
    void Assign(const std::uint8_t* bytes, std::size_t size) {
        if (size > m_uiCapacity) {
            auto* const grown = new std::uint8_t[size];
            std::memcpy(grown, bytes, size);
            Replace(grown);
            m_uiCapacity = size;
        } else {
            std::memmove(m_pBytes, bytes, size);
        }
        m_uiSize = size;
    }

    void Clear() { m_uiSize = 0; }

private:
    void Replace(std::uint8_t* bytes) {
        if (m_pBytes != m_pRoom)
            delete[] m_pBytes;
        m_pBytes = bytes;
    }

    std::uint8_t* m_pRoom;
    std::uint8_t* m_pBytes;
    std::size_t m_uiCapacity;
    std::size_t m_uiSize = 0;
};
