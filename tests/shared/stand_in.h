// A stand-in for the solver, which implements the operations of `Wcsp` and
// nothing else: it has the domains, owns the constraints and drops what they
// report, so that preparing a constraint is measured alone.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "solver/wcsp.h"

/// Keeps domains and constraints; every setting is ignored, nothing is solved.
class StandInWcsp : public Wcsp {
 public:
  std::vector<unsigned> numValues;
  std::vector<std::unique_ptr<WcspConstraint>> constraints;
  std::uint64_t numInvolved = 0;  ///< how many labels were registered

  explicit StandInWcsp(std::vector<unsigned> domainSizes) {
    initialize(0, domainSizes);
  }

  void setMaxIteration(unsigned) override {}
  void setMaxIterationUnimproved(unsigned) override {}
  void setMaxCpuTime(double) override {}
  void setTarget(int) override {}
  void setTarget(int, int) override {}
  void setRandomSeed(int) override {}
  void setDisplay(int) override {}
  void setInterval(unsigned) override {}
  void setAdjustment(bool) override {}
  bool setLogFileName(std::string, bool) override { return false; }
  void initialize(unsigned, std::vector<unsigned>& sizes) final {
    numValues = sizes;
  }
  unsigned getNumVariables() const override {
    return static_cast<unsigned>(numValues.size());
  }
  unsigned getNumValues(unsigned variable) const override {
    return numValues[variable];
  }
  unsigned getNumConstraints() const override {
    return static_cast<unsigned>(constraints.size());
  }
  void solve() override {}
  void solve(std::vector<unsigned> const&) override {}
  unsigned getValue(unsigned) const override { return 0; }
  int getHardPenalty() const override { return 0; }
  int getSoftPenalty() const override { return 0; }
  int getPenalty(unsigned) const override { return 0; }
  unsigned addConstraint(WcspConstraint* c) override {
    constraints.emplace_back(c);
    return static_cast<unsigned>(constraints.size() - 1);
  }
  void involve(unsigned, unsigned, unsigned) override { ++numInvolved; }
  void involve(unsigned, unsigned variable) override {
    numInvolved += numValues[variable];
  }
  void setDiffPenalty(unsigned, unsigned, unsigned, int) override {}
};
