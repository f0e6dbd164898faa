/** What makes a picture of a canvas. */

export function pngOfCanvas(canvas: HTMLCanvasElement): Promise<Blob> {
  return new Promise((resolve, reject) => {
    canvas.toBlob((blob) => {
      if (blob === null) reject(new Error("the picture is too large for the browser"));
      else resolve(blob);
    }, "image/png");
  });
}

/** The colour of the page's ground. What an element's style computes to doesn't tell it. */
export function groundColour(): string {
  const probe = document.createElement("span");
  probe.style.color = "Canvas";
  document.body.append(probe);
  const { color } = getComputedStyle(probe);
  probe.remove();
  return color;
}
