#include "runtime/CQRN_Event.h"

CQRN_Event::CQRN_Event() : CQRN_Event(false) {}

CQRN_Event::CQRN_Event(bool manual) : m_event(manual ? qrn::EventReset::kManual : qrn::EventReset::kAutomatic) {}

void CQRN_Event::Set() {
    m_event.Set();
}

void CQRN_Event::Reset() {
    m_event.Reset();
}

bool CQRN_Event::Wait(qrn::IClock& clock, std::chrono::nanoseconds timeout) {
    return m_event.Wait(clock, timeout);
}

int CQRN_Event::Descriptor() const {
    return m_event.Descriptor();
}

bool CQRN_Event::TryConsume() {
    return m_event.TryConsume();
}
