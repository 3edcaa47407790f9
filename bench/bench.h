// The groups of benchmarks that have a file of their own; each function
// registers its group.

#pragma once

void addGrowthBenchmarks();
void addPrepareBenchmarks();
void addReadBenchmarks();
void addSearchBenchmarks();
