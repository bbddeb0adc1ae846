#include "bench/harness/flow.h"

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <utility>

using nlohmann::json;

namespace bench {

namespace {

constexpr int kGoodbyeMs = 5000;  // for a process to clean up behind itself

const CDriver& DriverOf(const std::string& name) {
    const CDriver* driver = FindDriver(name);
    if (!driver) throw std::runtime_error("no driver " + name);
    return *driver;
}

}  // namespace

CFlow::CFlow(RunSpec spec) : m_spec(std::move(spec)), m_driver(DriverOf(m_spec.driver)) {}

std::array<int, 2> CFlow::Descriptors() const {
    std::array<int, 2> all{};
    for (size_t i = 0; i < all.size(); ++i) {
        const auto& child = m_children[i];
        all[i] = child && !child->Has("stopped") ? child->Descriptor() : -1;
    }
    return all;
}

void CFlow::TakeIn(size_t place) {
    CChild& child = *m_children[place];
    const bool open = child.TakeMessage();
    if (child.Has("failed")) throw std::runtime_error(child.Event("failed").at("why").get<std::string>());
    if (!open) {
        child.Process().WaitForEnd(kGoodbyeMs);
        throw std::runtime_error(std::string(child.Name()) + " left early, " + child.Process().Complaint());
    }
    const json told = child.Take("told");  // what one side tells the other
    if (told.is_null() || !m_children[1 - place]) return;
    m_children[1 - place]->Pass({{"do", "hear"}, {"step", told["step"]}, {"number", told["number"]}});
}

Values CFlow::Numbers(std::optional<double> serverCpuSeconds) {
    Values values = Measuring().Event("finished").at("values").get<Values>();
    values.merge(Other().Event("stopped").at("values").get<Values>());
    double cpu = serverCpuSeconds.value_or(0);
    if (serverCpuSeconds) values["server_cpu_s"] = cpu;
    for (const auto& [child, event] : {std::pair{&Measuring(), "finished"}, std::pair{&Other(), "stopped"}}) {
        const double its = child->Event(event).at("cpu").get<double>();
        values[std::string(child->Name()) + "_cpu_s"] = its;
        cpu += its;
    }
    values["cpu_s"] = cpu;
    if (values.count("datagrams"))
        values["cpu_us_per_datagram"] = kMega * (cpu - values["receiver_cpu_s"]) / values["datagrams"];
    if (values.count("bytes")) {
        values["MB/s"] = values["bytes"] / kMega / values["seconds"];
        values["cpu_s_per_GB"] = cpu / (values["bytes"] / kGiga);
    }
    return values;
}

void CFlow::Stop() {
    for (auto& child : m_children) child->Tell("stop");
    for (auto& child : m_children) {
        if (!child->Process().WaitForEnd(kGoodbyeMs))
            throw std::runtime_error(std::string(child->Name()) + " did not end");
        const std::string complaint = child->Process().Complaint();
        if (!complaint.empty()) throw std::runtime_error(std::string(child->Name()) + " " + complaint);
    }
}

}  // namespace bench
