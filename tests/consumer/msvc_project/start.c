// Where a program without Microsoft's runtime begins and ends.

__declspec(dllimport) void ExitProcess(unsigned int code);
int main(void);

void start(void) {
    ExitProcess((unsigned int)main());
}
