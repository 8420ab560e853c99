// What is wrong with the page as it is shown now: each a sentence.
(() => {
  const found = [];
  const name = element => element.tagName + "." + (element.getAttribute("class") || "") + " " +
    element.textContent.trim().slice(0, 40);
  const width = document.documentElement.clientWidth;
  if (document.documentElement.scrollWidth > width) found.push("the page is wider than the window");
  for (const element of document.querySelectorAll("body, body *")) {
    const box = element.getBoundingClientRect();
    if (box.width && (box.left < -0.5 || box.right > width + 0.5)) found.push("outside: " + name(element));
    const cuts = getComputedStyle(element).overflowX !== "visible" && element.scrollWidth > element.clientWidth + 1;
    if (cuts && !element.closest("svg")) found.push("cut off: " + name(element));
  }
  for (const picture of document.querySelectorAll("svg")) {
    const box = picture.getBoundingClientRect();
    const drawn = [...picture.querySelectorAll("rect")].map(one => one.getBoundingClientRect());
    if (!(box.width > 20 && box.height > 5)) found.push("empty: " + name(picture));
    if (!drawn.some(one => one.width > 0.5 && one.height > 0.5)) found.push("nothing is drawn: " + name(picture));
    if (!picture.querySelector("title") || !picture.getAttribute("aria-label")) found.push("no title: " + name(picture));
  }

  const light = colour => {
    const parts = colour.match(/[\d.]+/g).map(Number);
    if (parts.length === 4 && parts[3] === 0) return null;
    const [r, g, b] = parts.map(part => part / 255).map(
      part => part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4);
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const behind = element => {
    for (; element; element = element.parentElement) {
      const value = light(getComputedStyle(element).backgroundColor);
      if (value !== null) return value;
    }
    return 1;
  };
  const boxes = [];
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  while (walker.nextNode()) {
    const node = walker.currentNode;
    const closed = node.parentElement.closest("details:not([open])") && !node.parentElement.closest("summary");
    if (!node.textContent.trim() || node.parentElement.closest("svg") || closed) continue;
    const range = document.createRange();
    range.selectNodeContents(node);
    const rects = [...range.getClientRects()].filter(rect => rect.width > 0.5);
    if (!rects.length) continue;
    for (const rect of rects) boxes.push({node, rect});
    const [a, b] = [light(getComputedStyle(node.parentElement).color), behind(node.parentElement)].sort((x, y) => y - x);
    const contrast = (a + 0.05) / (b + 0.05);
    if (contrast < 4.5) found.push("contrast " + contrast.toFixed(2) + ": " + name(node.parentElement));
  }
  for (let i = 0; i < boxes.length; ++i) {
    for (let j = i + 1; j < boxes.length; ++j) {
      const [one, other] = [boxes[i].rect, boxes[j].rect];
      const over = (a, b, c, d) => Math.min(b, d) - Math.max(a, c);
      // Lines of one text may touch; the boxes of letters are higher than the letters.
      if (boxes[i].node !== boxes[j].node && over(one.left, one.right, other.left, other.right) > 1 &&
          over(one.top, one.bottom, other.top, other.bottom) > 4) {
        found.push("overlap: " + boxes[i].node.textContent + " / " + boxes[j].node.textContent);
      }
    }
  }
  if (boxes.length < 40) found.push("there is hardly any text");
  return found;
})()
