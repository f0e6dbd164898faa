/** A navigator.hid of the test's own, in the page. */
import type { Page } from "playwright-core";

export interface FakeOptions {
  names?: string[]; // of the devices that the user picks
  features?: Record<number, number[]>; // what answers to requests have, the ID included
  declared?: number[]; // feature reports, by their IDs; none if the device tells of none
  silent?: number[]; // that are never answered
  picks?: boolean; // whether the user picks at all
  openFault?: [name: string, message: string] | null;
}

/** What a test does with it, as `window.fakeHid`. */
export interface FakeHid {
  calls: string[]; // of the page's, on any device
  send(bytes: number[], device?: number): void;

  /** Sends so many reports of the test's own, at a rate; each has its number in four bytes. */
  flood(bytes: number[], counter: number, rate: number, count: number): Promise<void>;
  unplug(device?: number): void;

  /** It comes back as another object, as browsers do it. */
  plug(device?: number): void;
  openFault: FakeOptions["openFault"];
  picks: boolean;
  isHeld?: boolean; // by the test: what goes to the decoder
}

declare global {
  interface Window {
    fakeHid: FakeHid;
  }
}

export async function addFakeHid(page: Page, options: FakeOptions = {}): Promise<void> {
  await page.addInitScript((given: FakeOptions) => {
    const calls: string[] = [];
    class FakeDevice extends EventTarget {
      opened = false;
      isThere = true;
      vendorId = 0x1209;
      productId = 1;
      collections = [
        {
          inputReports: [{ reportId: 0x76 }, { reportId: 0x77 }],
          outputReports: [],
          featureReports: (given.declared ?? []).map((reportId) => ({ reportId })),
          children: [],
        },
      ];
      constructor(readonly productName: string) {
        super();
      }
      async open() {
        calls.push("open");
        await new Promise((resolve) => setTimeout(resolve, 5));
        if (fake.openFault) throw new DOMException(fake.openFault[1], fake.openFault[0]);
        if (this.opened) throw new DOMException("It is open.", "InvalidStateError");
        this.opened = true;
      }
      async close() {
        calls.push("close");
        this.opened = false;
      }
      async receiveFeatureReport(id: number) {
        calls.push(`receiveFeatureReport ${id}`);
        await new Promise((resolve) => setTimeout(resolve, 2));
        if (given.silent?.includes(id)) await new Promise(() => undefined);
        const bytes = given.features?.[id];
        if (!this.opened || !this.isThere || bytes === undefined)
          throw new DOMException("Failed to receive the feature report.", "NotAllowedError");
        return new DataView(Uint8Array.from(bytes).buffer);
      }
      async sendReport() {
        calls.push("sendReport");
      }
      async sendFeatureReport() {
        calls.push("sendFeatureReport");
      }
      emit(reportId: number, data: DataView) {
        if (!this.opened || !this.isThere) return;
        const event = new Event("inputreport");
        Object.assign(event, { device: this, reportId, data });
        this.dispatchEvent(event);
      }
    }
    const hid = new EventTarget();
    const devices = (given.names ?? ["Fake touch"]).map((name) => new FakeDevice(name));
    const told = (type: string, device: FakeDevice) =>
      hid.dispatchEvent(Object.assign(new Event(type), { device }));
    const fake = {
      calls,
      picks: given.picks ?? true,
      openFault: given.openFault ?? null,
      send(bytes: number[], device = 0) {
        devices[device]!.emit(bytes[0]!, new DataView(Uint8Array.from(bytes.slice(1)).buffer));
      },
      async flood(bytes: number[], counter: number, rate: number, count: number) {
        const begun = performance.now();
        for (let sent = 0; sent < count; ) {
          const due = Math.min(count, Math.floor(((performance.now() - begun) * rate) / 1000) + 1);
          for (; sent < due; ++sent) {
            const data = new DataView(Uint8Array.from(bytes.slice(1)).buffer);
            data.setUint32(counter - 1, sent, true);
            devices[0]!.emit(bytes[0]!, data);
          }
          await new Promise((resolve) => setTimeout(resolve, 1));
        }
      },
      unplug(device = 0) {
        devices[device]!.isThere = devices[device]!.opened = false;
        told("disconnect", devices[device]!);
      },
      plug(device = 0) {
        devices[device] = new FakeDevice(devices[device]!.productName);
        told("connect", devices[device]!);
      },
    };
    Object.assign(hid, {
      async requestDevice({ filters }: { filters: object[] }) {
        calls.push(`requestDevice ${filters.length}`);
        await new Promise((resolve) => setTimeout(resolve, 5));
        return fake.picks ? [...devices] : [];
      },
    });
    window.fakeHid = fake;
    Object.defineProperty(Navigator.prototype, "hid", { configurable: true, get: () => hid });
  }, options);
}
