import { render } from 'preact';
import { App, AppContext } from './app.js';
import { Shell } from './shell/shell.js';
import './styles/base.css';
import './styles/shell.css';
import './styles/grid.css';
import './styles/scrubber.css';
import './styles/controls.css';
import './styles/albums.css';

render(
  <AppContext.Provider value={new App()}>
    <Shell />
  </AppContext.Provider>,
  document.getElementById('app') as HTMLElement,
);
