/** What the page uses of navigator.hid, which some browsers have, and TypeScript's library has not. */

export interface HidReportInfo {
  readonly reportId: number;
}

export interface HidCollection {
  readonly children?: readonly HidCollection[];
  readonly inputReports?: readonly HidReportInfo[];
  readonly featureReports?: readonly HidReportInfo[];
}

/** What a device sent of itself. `data` is without the ID, which is 0 for a device without IDs. */
export interface HidInputEvent extends Event {
  readonly reportId: number;
  readonly data: DataView;
}

/** A device's part with reports of its own: one device may have several. What could change it isn't
 *  here: nothing is ever sent to a device but the request for a feature report. */
export interface HidDevice {
  readonly opened: boolean;
  readonly vendorId: number;
  readonly productId: number;
  readonly productName: string;
  readonly collections: readonly HidCollection[];
  open(): Promise<void>;
  close(): Promise<void>;

  /** The report with its ID in front. */
  receiveFeatureReport(id: number): Promise<DataView>;

  addEventListener(type: "inputreport", listener: (event: HidInputEvent) => void): void;
  removeEventListener(type: "inputreport", listener: (event: HidInputEvent) => void): void;
}

export interface HidConnectionEvent extends Event {
  readonly device: HidDevice;
}

export interface Hid {
  /** Has the user choose; gives none if they don't. */
  requestDevice(options: { filters: readonly object[] }): Promise<HidDevice[]>;

  addEventListener(
    type: "connect" | "disconnect",
    listener: (event: HidConnectionEvent) => void,
  ): void;
  removeEventListener(
    type: "connect" | "disconnect",
    listener: (event: HidConnectionEvent) => void,
  ): void;
}

/** Null where the browser has none. */
export function hidOf(from: Navigator): Hid | null {
  return (from as Navigator & { hid?: Hid }).hid ?? null;
}

/** The IDs of feature reports that a device declares; 0 for one without IDs. */
export function declaredFeatures(collections: readonly HidCollection[]): Set<number> {
  return idsIn(collections, (one) => one.featureReports);
}

/** The same of all reports that a device may send or be asked for. */
export function declaredReports(collections: readonly HidCollection[]): Set<number> {
  return idsIn(collections, (one) => [...(one.inputReports ?? []), ...(one.featureReports ?? [])]);
}

function idsIn(
  collections: readonly HidCollection[],
  of: (one: HidCollection) => readonly HidReportInfo[] | undefined,
): Set<number> {
  const ids = new Set<number>();
  for (const collection of collections) {
    for (const { reportId } of of(collection) ?? []) ids.add(reportId);
    for (const id of idsIn(collection.children ?? [], of)) ids.add(id);
  }
  return ids;
}
