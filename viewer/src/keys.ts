/** The keys that work anywhere on the page. */

/** Calls what stands for a key, unless it is typed into something or means something there. */
export function listenToKeys(actions: Record<string, () => void>): void {
  document.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || event.defaultPrevented) return;
    if ((event.target as HTMLElement).closest("input:not([type=range]), select, textarea, dialog"))
      return;
    const action = Object.hasOwn(actions, event.key) ? actions[event.key] : undefined;
    if (action === undefined) return;
    event.preventDefault();
    action();
  });
}
