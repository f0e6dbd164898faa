/** A machine that is busy: with VESK_SLOW set, whatever a page asks its worker for takes a while
 *  longer, both ways, and so do timers and frames of the screen. A test that looks at the page before it
 *  has waited for what it looks for fails then. */
import type { Page } from "playwright-core";

export async function slowDown(page: Page): Promise<void> {
  if (!process.env["VESK_SLOW"]) return;
  await page.addInitScript(() => {
    /** Puts calls off, by any time, and keeps their order. */
    const later = () => {
      const waiting: (() => void)[] = [];
      return (call: () => void) => {
        waiting.push(call);
        setTimeout(() => waiting.shift()!(), 20 + 150 * Math.random());
      };
    };
    const { postMessage } = Worker.prototype;
    const sending = new WeakMap<Worker, (call: () => void) => void>();
    Worker.prototype.postMessage = function (this: Worker, ...given: [unknown]) {
      if (!sending.has(this)) sending.set(this, later());
      sending.get(this)!(() => postMessage.apply(this, given));
    };
    Object.defineProperty(Worker.prototype, "onmessage", {
      set(this: Worker, receive: (event: MessageEvent) => void) {
        const put = later();
        this.addEventListener("message", (event) => put(() => receive.call(this, event)));
      },
    });
    const { setTimeout, requestAnimationFrame } = window;
    Object.assign(window, {
      setTimeout: (call: TimerHandler, after = 0, ...given: unknown[]) =>
        setTimeout(call, after + 100 * Math.random(), ...given),
    });
    window.requestAnimationFrame = (draw) => {
      return requestAnimationFrame(() => setTimeout(() => draw(performance.now()), 100));
    };
  });
}
