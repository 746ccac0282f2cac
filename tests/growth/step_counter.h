#pragma once

// The blocks of instructions that the code under test has run through.
extern unsigned long g_steps;
