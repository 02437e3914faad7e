#pragma once
/// A filter graph in words that can fail with a sentence.

#include <optional>
#include <string>
#include <vector>

#include "qrn/filters.h"
#include "qrn/host.h"

namespace qrn {

/// @param name  for the sentence. @throws CClientError when the result is a failure: "cannot WHAT: E_FAIL".
void Require(HRESULT result, const std::string& what);

/// For what needs the module. @throws CClientError when the result is that of a module that the host cannot find or
/// load, or of a registry that does not tell.
void RequireModule(HRESULT result);

/// Makes a filter of the module. @throws CClientError when the module cannot be loaded or has no such filter.
ComPtr<IBaseFilter> CreateModuleFilter(REFCLSID classId, const std::string& name);

/// The interface of a filter. @throws CClientError when it has none.
template <class T>
ComPtr<T> InterfaceOf(const ComPtr<IBaseFilter>& filter, const std::string& name) {
    ComPtr<T> found = filter.template As<T>();
    Require(found ? S_OK : E_NOINTERFACE, "control the filter " + name);
    return found;
}

/// @param format  as QrnDumpGraphs has it. @throws CClientError when there is no memory for it.
std::string DescribeGraphs(const std::vector<QrnNamedGraph>& graphs, QrnDumpFormat format);

/// Owns the host's graph. One controlling thread; stops the graph at its end.
class CGraph {
public:
    /// An event that ends a stream.
    struct End {
        bool failed = false;  // else the stream has come to its end
        HRESULT result = S_OK;
    };

    CGraph();
    ~CGraph();
    CGraph(const CGraph&) = delete;
    CGraph& operator=(const CGraph&) = delete;

    void Add(IBaseFilter* filter, const std::string& name);
    /// Connects the first output pin that is free to the first input pin that is.
    void Connect(IBaseFilter* upstream, IBaseFilter* downstream);

    void Run();
    /// Samples are not held back until their time: everything goes as fast as it can.
    void RunWithoutClock();
    /// Returns with every streaming thread parked.
    void Stop();

    /// Takes the events that have come. @return what ended the stream since the last call, if anything did.
    std::optional<End> TakeEnd();
    /// Waits for such an event. @return nothing when the time has passed first.
    std::optional<End> WaitForEnd(int timeoutMs);

    /// For a description; lives as long as this.
    IFilterGraph* Get() const { return m_graph.Get(); }

private:
    ComPtr<IGraphBuilder> m_graph;
    ComPtr<IMediaControl> m_control;
    ComPtr<IMediaEvent> m_events;
    bool m_running = false;
};

}  // namespace qrn
