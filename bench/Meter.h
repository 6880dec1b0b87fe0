// What a stretch of work costs the thread that does it.
#pragma once

/// Nanoseconds of processor time that this thread has used.
double ThreadNanoseconds();

/// Allocations that this thread has made, by whatever code of the process.
long ThreadAllocations();

/// Measures the stretches of work between Start and Stop, which it adds up.
class Meter {
public:
    enum class Marks { kNone, kSystemCalls };

    /// With marks, each stretch lies between two system calls that CountSystemCalls looks for.
    explicit Meter(Marks marks = Marks::kNone) : marks_(marks) {}

    void Start();
    void Stop();

    double Nanoseconds() const { return nanoseconds_; }
    long Allocations() const { return allocations_; }

private:
    Marks marks_;
    double nanoseconds_ = 0;
    long allocations_ = 0;
};

/// Marks for CountSystemCalls: a system call that does nothing, with an argument nobody passes.
enum class Mark : long { kNextRun = -0x0BE7C4, kStart, kStop };
void MakeMark(Mark mark);
