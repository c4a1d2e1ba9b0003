#pragma once

#include <atomic>

namespace quenstal {

/// Reads a field that another thread may write: no tearing, no order with other fields, the cost of a plain read.
template <class Value>
Value relaxedLoad(const Value& field)
{
    // A reference to const cannot be atomic before C++26; the load leaves the field as it is.
    return std::atomic_ref(const_cast<Value&>(field)).load(std::memory_order_relaxed);
}

/// Writes a field that another thread may read.
template <class Value>
void relaxedStore(Value& field, Value value)
{
    std::atomic_ref(field).store(value, std::memory_order_relaxed);
}

} // namespace quenstal
