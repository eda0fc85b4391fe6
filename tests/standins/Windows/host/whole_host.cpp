extern "C" int runRecordingHost();

int main() { return runRecordingHost(); }
