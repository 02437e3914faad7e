#pragma once
/// Who takes what the library has to say.

#include <functional>
#include <memory>
#include <utility>

#include "platform/system/Lock.h"

namespace qrn {

/// Holds a function that may be exchanged at any time, by itself too. Any thread.
template <class Signature>
class CSinkHolder {
public:
    using Sink = std::function<Signature>;

    /// Null: nobody. A call of the old one that is under way goes on.
    void Set(Sink sink) QRN_EXCLUDES(m_gate) {
        std::shared_ptr<const Sink> shared;
        if (sink) {
            shared = std::make_shared<const Sink>(std::move(sink));
        }
        CScopedLock lock(m_gate);
        m_sink.swap(shared);
    }

    /// To be called without a lock; null for nobody.
    std::shared_ptr<const Sink> Get() const QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        return m_sink;
    }

private:
    mutable CMutex m_gate;
    std::shared_ptr<const Sink> m_sink QRN_GUARDED_BY(m_gate);
};

}  // namespace qrn
