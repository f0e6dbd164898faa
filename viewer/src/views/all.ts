/** All views, in the order of their tabs. */
import type { View, ViewHost } from "../view.js";
import { BlackBoxView } from "./blackbox.js";
import { FramesView } from "./frames.js";
import { OpenShortView } from "./openshort.js";
import { PowerView } from "./power.js";
import { WatchdogView } from "./watchdog.js";

export function views(host: ViewHost): View[] {
  return [
    new FramesView(host),
    new OpenShortView(host),
    new BlackBoxView(host),
    new PowerView(host),
    new WatchdogView(host),
  ];
}
