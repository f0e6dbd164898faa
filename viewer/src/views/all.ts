/** All views, in the order of their tabs. */
import type { View, ViewHost } from "./view.js";
import { AdcView } from "./adc.js";
import { BaselineView } from "./baseline.js";
import { BlackBoxView } from "./blackbox.js";
import { FramesView } from "./frames.js";
import { OpenShortView } from "./openshort.js";
import { PowerView } from "./power.js";
import { ScanView } from "./scan.js";
import { WatchdogView } from "./watchdog.js";

export function views(host: ViewHost): View[] {
  return [
    new FramesView(host),
    new AdcView(host),
    new BaselineView(host),
    new OpenShortView(host),
    new ScanView(host),
    new BlackBoxView(host),
    new PowerView(host),
    new WatchdogView(host),
  ];
}
