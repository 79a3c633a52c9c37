// A module to load and verify.
extern "C" __declspec(dllexport) int SampleAnswer() { return 42; }
