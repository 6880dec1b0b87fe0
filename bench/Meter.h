// What a piece of work costs the thread that does it.
#pragma once

/// Nanoseconds of processor time that this thread has used.
double ThreadNanoseconds();

/// Allocations that this thread has made, in any code of the process.
long ThreadAllocations();

/// Measures the work between Start and Stop, and adds it up.
class Meter {
public:
    enum class Marks { kNone, kSystemCalls };

    /// With marks, each Start and Stop makes a system call that CountSystemCalls looks for.
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

/// A mark for CountSystemCalls: a system call without effect, with an argument that is not
/// otherwise used.
enum class Mark : long { kNextRun = -0x0BE7C4, kStart, kStop };
void MakeMark(Mark mark);
