// Every platform call of every flow fails in turn with each error that the platform gives there, then every call from
// each one on, and every allocation.
#include <fstream>
#include <iostream>
#include <set>

#include "tests/fakes/FailingNew.h"
#include "tests/faults/Flow.h"

namespace tests {
namespace {

class FaultSweep : public testing::TestWithParam<FlowEntry> {
protected:
    [[nodiscard]] std::unique_ptr<Flow> Made() const {
        auto flow = GetParam().make();
        flow->Prepare();
        return flow;
    }
    static std::string Answer(Flow& flow) try { return flow.Run(); } catch (const std::bad_alloc&) {
        return "no memory";
    }
    // Learns what the flow answers, what stays open between its runs, and what it calls.
    void Learn() {
        const auto flow = Made();
        flow->faults.Listen(&calls, nullptr);
        usual = Answer(*flow);
        flow->faults.Listen(nullptr, nullptr);
        kept = flow->Open();
        flow->Recover();
        flow->Prepare();
        ASSERT_EQ(Answer(*flow), usual) << "the second run";
        for (const auto& [kind, open] : flow->Open()) {
            kept[kind] = std::max(kept[kind], open);
        }
    }
    void ExpectNothingLeft(const Flow& flow, SystemError met) {
        // The path-expansion map is opened anew when its key was deleted, and others may still be using the old one.
        const bool isMapNew = met == SystemError::KeyDeleted || met == Flow::kAll;
        for (const auto& [kind, open] : flow.Open()) {
            EXPECT_LE(open, kept[kind] + (isMapNew && kind == "registry key" ? 1 : 0)) << kind << "s are left open";
        }
        EXPECT_EQ(flow.Misuses(), 0U);
    }
    // One run that meets a failure, with what has to be so afterwards. Whether it met it.
    template <class Meet>
    bool Try(SystemError met, Meet&& meet) {
        const auto flow = Made();
        flow->faults.Listen(nullptr, &struck);
        std::string answer;
        const bool isMet = meet(*flow, [&] { answer = Answer(*flow); });
        flow->faults.Listen(nullptr, nullptr);
        if (!isMet) {
            EXPECT_EQ(answer, usual);
            return false;
        }
        ++faults;
        EXPECT_TRUE(answer == usual || answer == "no memory" || flow->IsDocumented(answer, met)) << answer;
        ExpectNothingLeft(*flow, met);
        flow->Recover();
        flow->Prepare();
        EXPECT_EQ(Answer(*flow), usual) << "the run after the failure, which was answered with: " << answer;
        ExpectNothingLeft(*flow, met);
        return true;
    }
    bool TryCall(std::uint32_t n, SystemError error) {
        return Try(error, [&](Flow& flow, auto&& work) {
            Failed(error) ? flow.faults.FailCall(n, error) : flow.faults.FailFrom(n);
            work();
            const bool isMet = flow.faults.Fired();
            flow.faults.Disarm();
            return isMet;
        });
    }
    bool TryAllocation(std::uint32_t n) {
        return Try(Flow::kAll, [&](Flow&, auto&& work) {
            const FailingNew out(n);
            work();
            return out.Fired();
        });
    }

    std::size_t faults = 0;
    std::string usual;
    std::map<std::string_view, std::size_t> kept;
    std::vector<std::string_view> calls;   // of one run
    std::vector<std::string_view> struck;  // of all runs
};

TEST_P(FaultSweep, AnyFailure) {
    const std::string name = GetParam().name;
    Learn();
    for (std::uint32_t n = 1; n <= calls.size() && !HasFailure(); ++n) {
        ASSERT_FALSE(ErrorsOf(calls[n - 1]).empty()) << calls[n - 1] << " has no row in PlatformErrors.cpp";
        for (const SystemError error : ErrorsOf(calls[n - 1])) {
            SCOPED_TRACE(testing::Message() << "call " << n << ", " << calls[n - 1] << ", " << error);
            EXPECT_TRUE(TryCall(n, error));
        }
        SCOPED_TRACE(testing::Message() << "every call from " << n << " on, " << calls[n - 1]);
        EXPECT_TRUE(TryCall(n, SystemError::Success));
    }
    bool isMet = true;
    for (std::uint32_t n = 1; isMet && !HasFailure(); ++n) {
        SCOPED_TRACE(testing::Message() << "allocation " << n);
        isMet = TryAllocation(n);
    }
    // The file has every operation that failures must reach, behind its flow's name.
    std::set<std::string> sites;
    for (const std::string_view operation : struck) {
        sites.insert(name + " " + std::string(operation));
    }
    std::cout << "faults: " << name << ": " << sites.size() << " sites, " << faults << " faults\n";
    std::string changes;
    std::ifstream file(HALVORA_FAULT_SITES);
    for (std::string site; std::getline(file, site);) {
        changes += site.starts_with(name + " ") && sites.erase(site) == 0 ? "-" + site + "\n" : "";
    }
    for (const std::string& site : sites) {
        changes += "+" + site + "\n";
    }
    EXPECT_EQ(changes, "") << "what failures reach is not what tests/faults/sites.txt says";
}

const auto kNamed = [](const auto& flow) { return flow.param.name; };
INSTANTIATE_TEST_SUITE_P(Shell, FaultSweep, testing::ValuesIn(ShellFlows()), kNamed);
INSTANTIATE_TEST_SUITE_P(Components, FaultSweep, testing::ValuesIn(ComponentFlows()), kNamed);
INSTANTIATE_TEST_SUITE_P(Trust, FaultSweep, testing::ValuesIn(TrustFlows()), kNamed);

}  // namespace
}  // namespace tests
