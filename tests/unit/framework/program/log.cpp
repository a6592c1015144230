#include "ry/rylog.h"

int main() {
    rylogLog(L"MODULE", 1, L"a message");
}
