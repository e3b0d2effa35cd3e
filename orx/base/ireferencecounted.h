// The face of an object that several owners share.
#pragma once

#include <atomic>

namespace Base {

/// An object that carries the number of its owners. The order of the virtual operations is part of the binary
/// interface between modules.
///
/// A new object has no owner, and so has a copy. Each owner adds 1 when it takes the object and takes 1 off when it
/// lets go; the one that brings the number to 0 deletes the object. Nothing else deletes it, so an object that nobody
/// counts lives as any other.
class IReferenceCounted
{
public:
    virtual ~IReferenceCounted() = default;

    /// The number of owners, for them to change on any thread.
    virtual std::atomic<long>& getReferenceCounter() { return m_lReferenceCounter; }

protected:
    IReferenceCounted() = default;
    IReferenceCounted(const IReferenceCounted&) {}
    IReferenceCounted& operator=(const IReferenceCounted&) { return *this; }

private:
    std::atomic<long> m_lReferenceCounter{0};
};

} // namespace Base
