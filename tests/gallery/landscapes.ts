/** Landscapes that nobody has seen, for screenshots: skies, suns and hills. */
import { writeFileSync } from 'node:fs';
import { join } from 'node:path';
import type { Page } from 'playwright-core';

/** Writes so many JPEG files into a folder. The same each time. */
export async function drawLandscapes(page: Page, folder: string, count: number): Promise<void> {
  for (let number = 0; number < count; ++number) {
    const text = await page.evaluate(draw, number);
    writeFileSync(join(folder, `landscape_${number}.jpg`), Buffer.from(text, 'base64'));
  }
}

function draw(number: number): string {
  let state = number * 7919 + 17;
  const random = () => {
    state = (state * 1103515245 + 12345) % 2147483648;
    return state / 2147483648;
  };
  for (let i = 0; i < 5; ++i) random();
  const canvas = document.createElement('canvas');
  const isUpright = random() < 0.25;
  canvas.width = isUpright ? 1200 : 1600;
  canvas.height = isUpright ? 1600 : 1200;
  const { width, height } = canvas;
  const pen = canvas.getContext('2d')!;
  const hue = [205, 215, 28, 340, 265, 190][Math.floor(random() * 6)]!;
  const isNight = hue === 265;
  const sky = pen.createLinearGradient(0, 0, 0, height * 0.75);
  sky.addColorStop(0, `hsl(${hue} 60% ${isNight ? 14 : 52}%)`);
  sky.addColorStop(1, `hsl(${(hue + 30) % 360} 70% ${isNight ? 38 : 84}%)`);
  pen.fillStyle = sky;
  pen.fillRect(0, 0, width, height);
  const sun = { x: width * (0.15 + 0.7 * random()), y: height * (0.15 + 0.3 * random()) };
  const glow = pen.createRadialGradient(sun.x, sun.y, 0, sun.x, sun.y, height * 0.5);
  glow.addColorStop(0, isNight ? 'rgb(255 255 240 / 0.9)' : 'rgb(255 250 220 / 0.95)');
  glow.addColorStop(0.09, isNight ? 'rgb(220 220 255 / 0.25)' : 'rgb(255 240 190 / 0.45)');
  glow.addColorStop(1, 'transparent');
  pen.fillStyle = glow;
  pen.fillRect(0, 0, width, height);
  const ground = (hue + 140 + 60 * random()) % 360;
  const layers = 3 + Math.floor(random() * 3);
  for (let layer = 0; layer < layers; ++layer) {
    const base = height * (0.5 + (0.42 * layer) / layers);
    const [rough, phase, long] = [height * (0.03 + 0.06 * random()), random() * 9, 250 + 400 * random()];
    pen.fillStyle = `hsl(${ground} ${18 + 8 * layer}% ${(isNight ? 26 : 62) - (isNight ? 5 : 11) * layer}%)`;
    pen.beginPath();
    pen.moveTo(0, height);
    for (let x = 0; x <= width; x += 4) {
      const wave = Math.sin(x / long + phase) + 0.5 * Math.sin(x / (long / 2.7) + 2 * phase) +
        0.14 * Math.sin(x / (long / 9) + 3 * phase);
      pen.lineTo(x, base - rough * wave);
    }
    pen.lineTo(width, height);
    pen.fill();
  }
  return canvas.toDataURL('image/jpeg', 0.9).replace(/^[^,]*,/, '');
}
