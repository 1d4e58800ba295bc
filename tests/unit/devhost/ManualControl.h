#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "devhost/WorkerJob.h"

// The control of a job without the job: a test says when it is cancelled, and sees what came.
class ManualControl : public DevHost::JobControl {
public:
    bool Continue() override { return ++continues <= allowed; }
    void SetProgress(double fraction) override { progress.push_back(fraction); }
    void SetStep(const std::string& part, const std::string& object) override {
        parts.push_back(part);
        objects.push_back(object);
    }

    // Continue() answers false from the call after this many on.
    unsigned allowed = 1'000'000;
    unsigned continues = 0;
    std::vector<double> progress;
    std::vector<std::string> parts;
    std::vector<std::string> objects;
};
