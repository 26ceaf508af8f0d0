#include "service/startup.h"

int main() {
    return RunService();
}
