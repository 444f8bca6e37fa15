#pragma once

// What the platform has to do when the module is connected.
void himodcn();
