// Every platform call of every flow fails in turn with each error that the platform gives there, then every call from
// each one on, and every allocation.
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>

#include "tests/fakes/FailingNew.h"
#include "tests/faults/Flow.h"

namespace tests {
namespace {

std::vector<FlowEntry> AllFlows() {
    std::vector<FlowEntry> all = ShellFlows();
    for (const auto& flows : {ComponentFlows(), TrustFlows()}) {
        all.insert(all.end(), flows.begin(), flows.end());
    }
    return all;
}

// The operations that failures reached, by flow; the file beside this one has those that they must reach.
using Sites = std::map<std::string, std::set<std::string, std::less<>>>;

Sites ReadSites() {
    Sites sites;
    std::ifstream file(HALVORA_FAULT_SITES);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string flow, operation;
        std::getline(words, flow, ':');
        while (words >> operation) {
            sites[flow].insert(operation);
        }
    }
    return sites;
}

void WriteSites(const Sites& sites) {
    std::ofstream file(HALVORA_FAULT_SITES);
    for (const auto& [flow, operations] : sites) {
        file << flow << ':';
        for (const std::string& operation : operations) {
            file << ' ' << operation;
        }
        file << '\n';
    }
}

constexpr char kHowToRenew[] =
    " tests/faults/sites.txt says otherwise. If it should not: HALVORA_RENEW_SITES=1, and run it again.";

// The operations that one has and the other has not.
std::string Beyond(const Sites::mapped_type& one, const Sites::mapped_type& other) {
    std::string names;
    for (const std::string& operation : one) {
        names += other.contains(operation) ? "" : operation + " ";
    }
    return names;
}

class FaultSweep : public testing::TestWithParam<FlowEntry> {
protected:
    static void TearDownTestSuite() {
        std::size_t number = 0;
        for (const auto& [flow, operations] : reached) {
            number += operations.size();
        }
        std::cout << "faults: " << reached.size() << " flows, " << number << " sites, " << faults << " faults\n";
        if (std::getenv("HALVORA_RENEW_SITES") != nullptr) {
            Sites all;
            for (const FlowEntry& flow : AllFlows()) {
                all[flow.name] = reached.contains(flow.name) ? reached[flow.name] : ReadSites()[flow.name];
            }
            WriteSites(all);
        }
    }
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

    static inline Sites reached;
    static inline std::size_t faults = 0;
    std::string usual;
    std::map<std::string_view, std::size_t> kept;
    std::vector<std::string_view> calls;   // of one run
    std::vector<std::string_view> struck;  // of all runs
};

TEST_P(FaultSweep, AnyFailure) {
    const std::string name = GetParam().name;
    const std::size_t before = faults;
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
    Sites::mapped_type& sites = reached[name];
    sites.insert(struck.begin(), struck.end());
    std::cout << "faults: " << name << ": " << sites.size() << " sites, " << faults - before << " faults\n";
    if (std::getenv("HALVORA_RENEW_SITES") == nullptr) {
        const auto known = ReadSites()[name];
        EXPECT_EQ(Beyond(known, sites), "") << "is reached no more, and" << kHowToRenew;
        EXPECT_EQ(Beyond(sites, known), "") << "is reached now, and" << kHowToRenew;
    }
}

TEST(FaultSweepSites, AreOfTheFlowsThatAreThere) {
    std::set<std::string> flows, known;
    for (const FlowEntry& flow : AllFlows()) {
        flows.insert(flow.name);
    }
    for (const auto& [name, operations] : ReadSites()) {
        known.insert(name);
    }
    EXPECT_EQ(flows, known) << kHowToRenew;
}

INSTANTIATE_TEST_SUITE_P(Flows, FaultSweep, testing::ValuesIn(AllFlows()),
                         [](const auto& flow) { return flow.param.name; });

}  // namespace
}  // namespace tests
