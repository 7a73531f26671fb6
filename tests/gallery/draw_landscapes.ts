/** draw_landscapes.js FOLDER COUNT: draws landscapes into a folder, as JPEG files. */
import { launch } from './chromium.js';
import { drawLandscapes } from './landscapes.js';

const browser = await launch();
await drawLandscapes(await browser.newPage(), process.argv[2]!, Number(process.argv[3]));
await browser.close();
