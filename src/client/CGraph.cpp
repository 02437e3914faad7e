#include "client/CGraph.h"

#include "client/ClientError.h"
#include "platform/com/TaskMemory.h"
#include "platform/com/Text.h"

namespace qrn {
namespace {

std::string NameOf(IBaseFilter* filter) {
    FILTER_INFO info{};
    if (FAILED(filter->QueryFilterInfo(&info))) {
        return "a filter";
    }
    // The reference to the graph is the caller's.
    const auto graph = ComPtr<IFilterGraph>::Adopt(info.pGraph);
    return ToUtf8(info.achName);
}

ComPtr<IPin> FreePin(IBaseFilter* filter, PIN_DIRECTION wanted) {
    ComPtr<IEnumPins> pins;
    if (FAILED(filter->EnumPins(pins.Put())) || !pins) {
        return nullptr;
    }
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.Put(), nullptr) == S_OK) {
        PIN_DIRECTION direction = PINDIR_INPUT;
        ComPtr<IPin> other;
        if (SUCCEEDED(pin->QueryDirection(&direction)) && direction == wanted &&
            FAILED(pin->ConnectedTo(other.Put()))) {
            return pin;
        }
    }
    return nullptr;
}

}  // namespace

void Require(HRESULT result, const std::string& what) {
    if (FAILED(result)) {
        throw CClientError("cannot " + what + ": " + ResultName(result));
    }
}

void RequireModule(HRESULT result) {
    const std::string error = FAILED(result) ? QrnLastLoadError() : "";
    if (!error.empty()) {
        throw CClientError("cannot load the module: " + error);
    }
}

ComPtr<IBaseFilter> CreateModuleFilter(REFCLSID classId, const std::string& name) {
    ComPtr<IBaseFilter> filter;
    const HRESULT result = CreateInstance(classId, filter);
    RequireModule(result);
    Require(result, "make the filter " + name);
    return filter;
}

std::string DescribeGraphs(const std::vector<QrnNamedGraph>& graphs, QrnDumpFormat format) {
    char* text = nullptr;
    const HRESULT result = QrnDumpGraphs(graphs.data(), static_cast<UINT>(graphs.size()), format, &text);
    const TaskMemoryPtr<char> owned(text);
    Require(result, "describe the graph");
    return text;
}

CGraph::CGraph() {
    Require(CreateInstance(CLSID_FilterGraph, m_graph), "make a filter graph");
    m_control = m_graph.As<IMediaControl>();
    m_events = m_graph.As<IMediaEvent>();
    Require(m_control && m_events ? S_OK : E_NOINTERFACE, "control the filter graph");
}

CGraph::~CGraph() {
    Stop();
}

void CGraph::Add(IBaseFilter* filter, const std::string& name) {
    Require(filter == nullptr ? E_OUTOFMEMORY : m_graph->AddFilter(filter, ToWide(name).c_str()),
            "add the filter " + name);
}

void CGraph::Connect(IBaseFilter* upstream, IBaseFilter* downstream) {
    const ComPtr<IPin> output = FreePin(upstream, PINDIR_OUTPUT);
    const ComPtr<IPin> input = FreePin(downstream, PINDIR_INPUT);
    const HRESULT result =
        output && input ? m_graph->ConnectDirect(output.Get(), input.Get(), nullptr) : VFW_E_NOT_FOUND;
    Require(result, "connect " + NameOf(upstream) + " to " + NameOf(downstream));
}

void CGraph::Run() {
    m_running = true;
    Require(m_control->Run(), "run the filter graph");
}

void CGraph::RunWithoutClock() {
    const auto filter = m_graph.As<IMediaFilter>();
    Require(filter ? filter->SetSyncSource(nullptr) : E_NOINTERFACE, "take the clock from the filter graph");
    Run();
}

void CGraph::Stop() {
    if (m_running) {
        m_control->Stop();
        m_running = false;
    }
}

std::optional<CGraph::End> CGraph::TakeEnd() {
    std::optional<End> end;
    LONG code = 0;
    LONG_PTR first = 0;
    LONG_PTR second = 0;
    while (m_events->GetEvent(&code, &first, &second, 0) == S_OK) {
        if (code == EC_ERRORABORT) {
            end = End{true, static_cast<HRESULT>(first)};
        } else if (code == EC_COMPLETE && !end) {
            end = End{};
        }
        m_events->FreeEventParams(code, first, second);
    }
    return end;
}

std::optional<CGraph::End> CGraph::WaitForEnd(int timeoutMs) {
    LONG code = 0;
    if (m_events->WaitForCompletion(timeoutMs, &code) != S_OK) {
        return std::nullopt;
    }
    return End{code != EC_COMPLETE, S_OK};
}

}  // namespace qrn
