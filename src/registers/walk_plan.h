// Which subtrees of the agent an instrument's register list is made of, by instrument type.
#pragma once

/// One walk of a plan.
struct PlannedWalk {
  int gap;              ///< register numbers left out before this walk
  const char* subtree;  ///< null behind the last walk of a plan
};

struct WalkPlan {
  int instrumentType;
  PlannedWalk walks[6];
};

constexpr WalkPlan kWalkPlans[] = {
    {1,  // TwinexVARO
     {{0, "cobaltRGX"}}},
    {2,  // Twinex
     {{0, "cobaltRGX.qmxInstrument"},
      {0, "cobaltRGX.qmxAmbientMonitor.qmxAmbientMonitorRegs"},
      {0, "cobaltRGX.qmxAmbientMonitor.qmxKORVA"},
      {31, "cobaltRGX.qmxAmbientMonitor.qmxKORVB"},
      {29, "cobaltRGX.qmxExtra"}}},
    {4,  // MonardVARO
     {{0, "cobaltRGX.qmxInstrument"},
      {0, "cobaltRGX.qmxAmbientMonitor.qmxAmbientMonitorRegs"},
      {0, "cobaltRGX.qmxAmbientMonitor.qmxKORVA"},
      {90, "cobaltRGX.qmxExtra"}}},
    {5,  // Monard
     {{0, "cobaltRGX.qmxInstrument"},
      {0, "cobaltRGX.qmxAmbientMonitor.qmxAmbientMonitorRegs"},
      {0, "cobaltRGX.qmxAmbientMonitor.qmxKORVA"},
      {121, "cobaltRGX.qmxExtra"}}},
};
