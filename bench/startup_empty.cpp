// SPDX-License-Identifier: MIT
//
// The peer of startup_probe: linked against the same libraries, and does nothing.

int main() {
  return 0;
}
