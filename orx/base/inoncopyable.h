// Base of interfaces whose implementations are passed by reference only.
#pragma once

namespace Base {

/// Forbids copying through an interface. A concrete class may still declare copy operations of its own.
class INonCopyable
{
public:
    INonCopyable() = default;
    INonCopyable(const INonCopyable&) = delete;
    INonCopyable& operator=(const INonCopyable&) = delete;

protected:
    ~INonCopyable() = default;
};

} // namespace Base
