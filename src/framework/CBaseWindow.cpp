#include "framework/CBaseWindow.h"

#include <atomic>

namespace qrn {
namespace {

class CHandleWindowFactory final : public IWindowFactory {
public:
    HWND Create(const WindowStyles& /*styles*/) override { return ++m_last; }
    void Destroy(HWND /*window*/) override {}

private:
    std::atomic<HWND> m_last{0};  // never given twice
};

}  // namespace

IWindowFactory& HandleWindowFactory() {
    static CHandleWindowFactory factory;
    return factory;
}

}  // namespace qrn

CBaseWindow::CBaseWindow(qrn::IWindowFactory& factory) : m_factory(factory) {}

CBaseWindow::~CBaseWindow() {
    CBaseWindow::DoneWithWindow();
}

HRESULT CBaseWindow::PrepareWindow() {
    if (m_hwnd != 0) {
        return S_OK;
    }
    qrn::WindowStyles styles;
    styles.className = GetClassWindowStyles(&styles.classStyles, &styles.windowStyles, &styles.windowStylesEx);
    m_hwnd = m_factory.Create(styles);
    return m_hwnd != 0 ? S_OK : E_FAIL;
}

HRESULT CBaseWindow::DoneWithWindow() {
    if (m_hwnd != 0) {
        m_factory.Destroy(m_hwnd);
        m_hwnd = 0;
    }
    return S_OK;
}
