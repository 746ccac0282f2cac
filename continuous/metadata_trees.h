// The trees that describe what a continuous run's records are about.
#pragma once

#include <memory>

#include "continuous/continuous_writer.h"

// Describes a metric: its quantity, type, states and the entities with their descriptors.
std::shared_ptr<ContinuousWriter::Metadata> makeMetricTree(const pwr::Metric& metric);

// Describes the machine and the collection as they stand now.
std::shared_ptr<ContinuousWriter::Metadata> makeSystemTree(const pwr::SystemMetadata& metadata);
