// The floor of loading a module: one with nothing in it but the runtime that every module of ours has linked in.
extern "C" __declspec(dllexport) int Nothing() { return 0; }
