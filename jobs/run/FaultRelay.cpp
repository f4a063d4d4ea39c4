// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/FaultRelay.h"

#include <oxa/host/FaultListener.h>

namespace oxa::jobs {

FaultRelay::FaultRelay(const host::Session& session, const std::shared_ptr<EventQueue>& queue,
                       bool hearsSoundService)
    : mListener(host::addFaultListener(
              [id = session.id(), queue, hearsSoundService](const host::Fault& fault) {
                  const bool isOfService = fault.session == 0 && hearsSoundService &&
                                           fault.source == host::FaultSource::kSound;
                  if (fault.session == id || isOfService) queue->push(fault);
              })) {}

FaultRelay::~FaultRelay() {
    host::removeFaultListener(mListener);
}

}  // namespace oxa::jobs
