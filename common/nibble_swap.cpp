#include "common/nibble_swap.h"

void Encrypt(unsigned char* buffer, int n) {
    for (int i = 0; buffer && i < n; ++i) {
        buffer[i] = static_cast<unsigned char>(buffer[i] << 4 | buffer[i] >> 4);
    }
}

void Decrypt(unsigned char* buffer, int n) {
    Encrypt(buffer, n);
}
