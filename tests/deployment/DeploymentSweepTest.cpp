#include <cstdio>
#include "deployment/SweepBench_win32.h"
#include "support/ServiceHost.h"
using namespace deploy_test;
TEST(Probe, runs) {
    test_support::ServiceHost host(L"mail:6146 x* mailresult 0x20ff0000, resultcode 0x20ff0000", 1);
    SweepBench bench;
    std::setbuf(stdout, nullptr);
    for (const Operation operation : kOperations) {
        std::printf("%s\n", NameOf(operation));
        for (int i = 0; i < 2; ++i) {
            bench.Prepare(operation);
            const DWORD start = GetTickCount();
            const SweepRun run = bench.Run(operation);
            std::printf("== %s: %08x, %zu calls, %zu unknown, open %s, agents %d, %lu ms\n",
                        NameOf(operation), run.result, run.calls.size(), run.unknown,
                        ToText(run.open).c_str(), run.agents, GetTickCount() - start);
            if (run.open.empty() == false || operation == Operation::kDeploy)
                for (const auto& line : run.lines)
                    std::printf("   %s\n", bench.Plain(line).c_str());
            if (i == 1)
                continue;
            for (const auto& line : run.lines)
                std::printf("   %s\n", bench.Plain(line).c_str());
            std::printf("%s\n",
                        bench.Plain(test_support::Difference(bench.Prepared(operation), run.things))
                            .c_str());
        }
    }
}
