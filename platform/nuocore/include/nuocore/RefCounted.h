/// Objects that count their own references, and weak pointers to them.
///
/// Thread rule: references may be taken and released on any threads at once; one pointer object is used by
/// one thread at a time.
#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <utility>

#include "nuocore/export.h"

namespace nuocore {

namespace detail {
struct ReferenceCounts;
/// Adds a strong reference unless the object has none any more.
NUOCORE_API bool LockReference(ReferenceCounts* inCounts) noexcept;
NUOCORE_API void AddWeakReference(ReferenceCounts* inCounts) noexcept;
NUOCORE_API void ReleaseWeakReference(ReferenceCounts* inCounts) noexcept;
}  // namespace detail

/// Base of objects that are owned through `RefPtr`s and end with the last of them. Made with no reference, on
/// the heap: `RefPtr<T>(new T)`.
class NUOCORE_API RefCountedObjectWithWeakPtr {
  public:
    RefCountedObjectWithWeakPtr(const RefCountedObjectWithWeakPtr&) = delete;
    RefCountedObjectWithWeakPtr& operator=(const RefCountedObjectWithWeakPtr&) = delete;

    void AddRef() const noexcept;
    /// The last one deletes the object.
    void Release() const noexcept;

  protected:
    /// Throws `std::bad_alloc`.
    RefCountedObjectWithWeakPtr();
    virtual ~RefCountedObjectWithWeakPtr();

  private:
    template <typename>
    friend class WeakPtr;

    detail::ReferenceCounts* mCounts;
};

inline void intrusive_ptr_add_ref(const RefCountedObjectWithWeakPtr* inObject) noexcept {
    inObject->AddRef();
}
inline void intrusive_ptr_release(const RefCountedObjectWithWeakPtr* inObject) noexcept {
    inObject->Release();
}

/// Owns a counted object together with others.
template <typename T>
using RefPtr = boost::intrusive_ptr<T>;

/// Refers to a counted object without owning it.
template <typename T>
class WeakPtr {
  public:
    WeakPtr() noexcept = default;
    explicit WeakPtr(T* inObject) noexcept : mObject(inObject) {
        if (inObject != nullptr) {
            mCounts = static_cast<const RefCountedObjectWithWeakPtr*>(inObject)->mCounts;
            detail::AddWeakReference(mCounts);
        }
    }
    explicit WeakPtr(const RefPtr<T>& inObject) noexcept : WeakPtr(inObject.get()) {}
    WeakPtr(const WeakPtr& inOther) noexcept : mObject(inOther.mObject), mCounts(inOther.mCounts) {
        if (mCounts != nullptr) {
            detail::AddWeakReference(mCounts);
        }
    }
    WeakPtr(WeakPtr&& inOther) noexcept
        : mObject(std::exchange(inOther.mObject, nullptr)),
          mCounts(std::exchange(inOther.mCounts, nullptr)) {}
    WeakPtr& operator=(WeakPtr inOther) noexcept {
        std::swap(mObject, inOther.mObject);
        std::swap(mCounts, inOther.mCounts);
        return *this;
    }
    ~WeakPtr() {
        if (mCounts != nullptr) {
            detail::ReleaseWeakReference(mCounts);
        }
    }

    /// The object, owned for the while; null when it has ended, or is just ending.
    [[nodiscard]] RefPtr<T> Lock() const noexcept {
        return mCounts != nullptr && detail::LockReference(mCounts) ? RefPtr<T>(mObject, false) : RefPtr<T>();
    }

  private:
    T* mObject = nullptr;
    detail::ReferenceCounts* mCounts = nullptr;
};

}  // namespace nuocore
