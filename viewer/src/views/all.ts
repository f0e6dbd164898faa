/** All views, in the order of their tabs. */
import type { View, ViewHost } from "../view.js";
import { AdcView } from "./adc.js";
import { BaselineView } from "./baseline.js";
import { FramesView } from "./frames.js";
import { ScanView } from "./scan.js";

export function views(host: ViewHost): View[] {
  return [new FramesView(host), new AdcView(host), new BaselineView(host), new ScanView(host)];
}
